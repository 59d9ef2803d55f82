#include "packages_ui/selection/package_filter.h"

#include <algorithm>
#include <numeric>

#include "framework/text/ascii.h"
#include "framework/text/utf8.h"
#include "packages_ui/selection/fold_case.h"

namespace zendro::packages_ui {
namespace {

// Of a longer title or description only so many bytes are searched.
constexpr std::size_t kSearchedBytesOfText = 10'000;
// Once the texts are this long, only names are added: a search has to end between two keystrokes.
constexpr std::size_t kSearchedBytesInFull = 64 << 20;

// Puts ASCII letters into lower case and replaces line breaks with blanks. Returns whether all
// bytes are ASCII.
bool fold_ascii(char* byte, const char* end) {
  bool is_ascii = true;
  for (; byte != end; ++byte) {
    const auto value = static_cast<unsigned char>(*byte);
    if (value >= 0x80) is_ascii = false;
    *byte = value < ' ' ? ' ' : framework::ascii_lower(*byte);
  }
  return is_ascii;
}

// Appends the text in lower case and on one line. Most texts are ASCII, which is much quicker.
void append_folded(std::string& target, std::string_view text) {
  text = framework::utf8_beginning(text, kSearchedBytesOfText);
  const std::size_t start = target.size();
  target += text;
  if (fold_ascii(target.data() + start, target.data() + target.size())) return;
  target.replace(start, std::string::npos, framework::to_utf8(fold_case(framework::to_wide(text))));
  fold_ascii(target.data() + start, target.data() + target.size());
}

}  // namespace

void PackageFilter::prepare() const {
  const auto count = static_cast<RowId>(table_.version_count());
  ends_.reserve(count);
  for (RowId row = 0; row < count; ++row) {
    const std::string identity = pkg::to_string(table_.version(row).identity);
    append_folded(texts_, identity);
    texts_ += '\n';
    if (texts_.size() < kSearchedBytesInFull) {
      for (const std::string_view text : {table_.title_bytes(row), table_.description_bytes(row)}) {
        append_folded(texts_, text);
        texts_ += '\n';
      }
    }
    ends_.push_back(texts_.size());
  }
}

std::vector<RowId> PackageFilter::matches(std::wstring_view text) const {
  std::vector<RowId> rows;
  if (text.empty()) {
    rows.resize(table_.version_count());
    std::iota(rows.begin(), rows.end(), RowId{0});
    return rows;
  }
  if (ends_.empty()) prepare();

  std::string wanted;
  append_folded(wanted, framework::to_utf8(text));
  // After a match the search goes on with the next row.
  std::size_t from = 0;
  auto row_end = ends_.begin();
  while ((from = texts_.find(wanted, from)) != std::string::npos) {
    row_end = std::upper_bound(row_end, ends_.end(), from);
    rows.push_back(static_cast<RowId>(row_end - ends_.begin()));
    from = *row_end;
  }
  return rows;
}

}  // namespace zendro::packages_ui
