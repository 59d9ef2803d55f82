#include "msg/utf.h"

#include <cstddef>
#include <cstdint>

namespace zendro::msg {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool is_scalar(char32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }

// The character of UTF-8 text (RFC 3629) at `at`, which moves past it; past one byte where the
// bytes there are no character.
char32_t decode_utf8(std::string_view text, std::size_t& at) {
  const auto byte = [&text](std::size_t i) {
    return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0u;
  };
  const std::uint32_t first = byte(at);
  ++at;
  if (first < 0x80) return first;
  if (first < 0xC2 || first > 0xF4) return kReplacement;
  const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  char32_t c = first & (0x3Fu >> more);
  for (std::size_t i = 0; i < more; ++i) {
    const std::uint32_t next = byte(at + i);
    if ((next & 0xC0) != 0x80) return kReplacement;
    c = (c << 6) | (next & 0x3F);
  }
  constexpr char32_t smallest[] = {0, 0x80, 0x800, 0x10000};
  if (c < smallest[more] || !is_scalar(c)) return kReplacement;
  at += more;
  return c;
}

void append_utf8(std::string& out, char32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
    return;
  }
  const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
  constexpr unsigned lead[] = {0, 0xC0, 0xE0, 0xF0};
  out += static_cast<char>(lead[more] | (c >> (6 * more)));
  for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80 | ((c >> (6 * i)) & 0x3F));
}

}  // namespace

std::wstring to_wide(std::string_view utf8) {
  std::wstring out;
  out.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    char32_t c = decode_utf8(utf8, at);
    if (sizeof(wchar_t) == 2 && c > 0xFFFF) {
      c -= 0x10000;
      out += static_cast<wchar_t>(0xD800 | (c >> 10));
      out += static_cast<wchar_t>(0xDC00 | (c & 0x3FF));
    } else {
      out += static_cast<wchar_t>(c);
    }
  }
  return out;
}

std::string to_utf8(std::wstring_view wide) {
  std::string out;
  out.reserve(wide.size());
  for (std::size_t at = 0; at < wide.size(); ++at) {
    char32_t c = static_cast<char32_t>(wide[at]);
    if (sizeof(wchar_t) == 2 && c >= 0xD800 && c <= 0xDBFF && at + 1 < wide.size()) {
      const auto low = static_cast<char32_t>(wide[at + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        c = 0x10000 + ((c & 0x3FF) << 10) + (low & 0x3FF);
        ++at;
      }
    }
    append_utf8(out, is_scalar(c) ? c : kReplacement);
  }
  return out;
}

}  // namespace zendro::msg
