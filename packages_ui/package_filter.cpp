#include "packages_ui/package_filter.h"

#include <algorithm>
#include <numeric>

#include "msg/utf.h"
#include "packages_ui/fold_case.h"

namespace zendro::packages_ui {
namespace {

// Appends the text in lower case and on one line. Most texts are ASCII, and there are many.
void append_folded(std::string& target, std::string_view text) {
  const auto is_ascii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
  const std::size_t start = target.size();
  if (std::all_of(text.begin(), text.end(), is_ascii)) {
    target += text;
  } else {
    target += msg::to_utf8(fold_case(msg::to_wide(text)));
  }
  for (std::size_t i = start; i < target.size(); ++i) {
    char& byte = target[i];
    if (byte >= 'A' && byte <= 'Z') byte += 'a' - 'A';
    if (is_ascii(byte) && byte < ' ') byte = ' ';
  }
}

}  // namespace

void PackageFilter::prepare() const {
  const auto count = static_cast<RowId>(table_.version_count());
  ends_.reserve(count);
  for (RowId row = 0; row < count; ++row) {
    const std::string identity = pkg::to_string(table_.version(row).identity);
    for (const std::string_view text :
         {std::string_view(identity), table_.title_bytes(row), table_.description_bytes(row)}) {
      append_folded(texts_, text);
      texts_ += '\n';
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
  append_folded(wanted, msg::to_utf8(text));
  // A row's first match takes the search on to the next row.
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
