#include "framework/text/xml.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "framework/text/percent.h"
#include "framework/text/utf8.h"

namespace zendro::framework {
namespace {

// Printable ASCII without markup, by byte.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  std::fill(plain.begin() + 0x20, plain.begin() + 0x7F, true);
  for (const char c : {'&', '<', '"'}) plain[static_cast<unsigned char>(c)] = false;
  return plain;
}();

// How a character of ASCII is escaped; empty where it is not. A reader takes white space in an
// attribute for blanks, unless it is escaped.
std::string_view escape(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '"':
      return "&quot;";
    case '\t':
      return "&#09;";
    case '\n':
      return "&#10;";
    case '\r':
      return "&#13;";
    default:
      return {};
  }
}

// The production Char of XML 1.0; surrogates never get here.
bool is_xml_character(char32_t c) { return c >= 0x20 && c != 0xFFFE && c != 0xFFFF; }

}  // namespace

void append_attribute_value(std::string& xml, std::string_view utf8) {
  while (true) {
    // What needs no attention, which is nearly all that there is, goes in one piece.
    const auto* const special = std::find_if_not(
        utf8.begin(), utf8.end(), [](char c) { return kPlain[static_cast<unsigned char>(c)]; });
    const auto plain = static_cast<std::size_t>(special - utf8.begin());
    xml += utf8.substr(0, plain);
    utf8.remove_prefix(plain);
    if (utf8.empty()) return;

    char32_t character = 0;
    const std::size_t length = decode_utf8(utf8, character);
    const std::string_view bytes = utf8.substr(0, length > 0 ? length : 1);
    if (const std::string_view escaped = escape(bytes.front()); !escaped.empty()) {
      xml += escaped;
    } else if (length > 0 && is_xml_character(character)) {
      xml += bytes;
    } else {
      for (const char byte : bytes) append_percent_encoded(xml, static_cast<unsigned char>(byte));
    }
    utf8.remove_prefix(bytes.size());
  }
}

}  // namespace zendro::framework
