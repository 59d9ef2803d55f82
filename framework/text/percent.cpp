#include "framework/text/percent.h"

#include <cstddef>

#include "framework/text/ascii.h"

namespace zendro::framework {

int hex_digit_value(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

std::string percent_decode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hex_digit_value(text[i + 1]);
      const int low = hex_digit_value(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out += static_cast<char>(high * 16 + low);
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

void append_percent_encoded(std::string& out, unsigned char byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  out += '%';
  out += kDigits[byte >> 4];
  out += kDigits[byte & 0xF];
}

void append_encoded_path(std::string& out, std::string_view path) {
  constexpr std::string_view kKept = "-._~!$&'()*+,;=@/";
  const bool has_drive = path.size() > 1 && is_ascii_letter(path[0]) && path[1] == ':' &&
                         (path.size() == 2 || path[2] == '/');
  for (std::size_t i = 0; i < path.size(); ++i) {
    const char c = path[i];
    const bool is_kept = is_ascii_letter(c) || is_ascii_digit(c) ||
                         kKept.find(c) != std::string_view::npos || (has_drive && i == 1);
    if (is_kept) {
      out += c;
    } else {
      append_percent_encoded(out, static_cast<unsigned char>(c));
    }
  }
}

}  // namespace zendro::framework
