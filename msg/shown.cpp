#include "msg/shown.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "framework/text/utf8.h"
#include "msg/invisible.h"

namespace zendro::msg {
namespace {

using framework::append_wide;
using framework::take_character;

constexpr wchar_t kEllipsis = L'\x2026';
// How many units of marks a text keeps together with their character when it is cut. Without a
// limit, a text of nothing but marks would be cut down to nothing.
constexpr std::size_t kLongestCluster = 64;

bool is_control(char32_t c) {
  return c < ' ' || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029;
}

void append_shown(std::wstring& out, char32_t c, char32_t before, char32_t after) {
  if (is_control(c)) {
    out += L' ';
  } else if (c >= 0x80 && is_invisible(c, before, after)) {
    wchar_t number[16];
    std::swprintf(number, std::size(number), L"<U+%04X>", static_cast<unsigned>(c));
    out += number;
  } else {
    append_wide(out, c);
  }
}

template <typename Text>
std::wstring shown_text(Text text, std::size_t most) {
  std::wstring out;
  out.reserve(std::min(text.size(), most));
  std::size_t cut = 0;  // the last place where there is room for the ellipsis
  std::size_t at = 0;
  char32_t before = 0;
  char32_t c = at < text.size() ? take_character(text, at) : 0;
  for (bool more = !text.empty(); more;) {
    more = at < text.size();
    const char32_t after = more ? take_character(text, at) : 0;
    const bool divides = !is_attached(c, before) || out.size() - cut > kLongestCluster;
    if (divides && out.size() < most) cut = out.size();
    append_shown(out, c, before, after);
    if (out.size() > most) {
      out.resize(cut);
      out += kEllipsis;
      break;
    }
    before = c;
    c = after;
  }
  return out;
}

}  // namespace

std::wstring shown(std::string_view utf8, std::size_t most) { return shown_text(utf8, most); }

std::wstring shown(std::wstring_view text, std::size_t most) { return shown_text(text, most); }

std::wstring shown_lines(std::wstring_view text, std::size_t most) {
  std::wstring out;
  for (;;) {
    const std::size_t end = text.find(L'\n');
    std::wstring_view line = text.substr(0, end);
    while (line.ends_with(L'\r')) line.remove_suffix(1);
    out += shown(line, most);
    if (end == std::wstring_view::npos) return out;
    out += L'\n';
    text.remove_prefix(end + 1);
  }
}

}  // namespace zendro::msg
