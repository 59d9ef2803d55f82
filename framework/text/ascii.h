// Letters and digits of ASCII, whatever the locale. Stateless.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace zendro::framework {

constexpr bool is_ascii_digit(char c) { return c >= '0' && c <= '9'; }
constexpr bool is_ascii_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

/// A to Z as a to z; anything else stays.
constexpr char ascii_lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
inline std::string ascii_lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = ascii_lower(c);
  return lower;
}

/// Whether two texts are the same but for the case of letters.
inline bool equal_ignoring_case(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return ascii_lower(x) == ascii_lower(y); });
}

}  // namespace zendro::framework
