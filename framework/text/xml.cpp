#include "framework/text/xml.h"

#include <cstddef>

#include "framework/text/percent.h"
#include "framework/text/utf8.h"

namespace zendro::framework {
namespace {

// Whether the byte is anything but printable ASCII without markup; without branches, so that a
// block can be tested by vector instructions.
constexpr bool is_special(char c) {
  return (c < ' ') | (c > '~') | (c == '&') | (c == '<') | (c == '"');
}

// How many bytes at the beginning need no attention, which are nearly all that there are.
std::size_t plain_size(std::string_view text) {
  constexpr std::size_t kBlock = 16;
  std::size_t size = 0;
  for (; size + kBlock <= text.size(); size += kBlock) {
    char special = 0;
    for (std::size_t i = 0; i < kBlock; ++i) {
      special = static_cast<char>(special | static_cast<char>(is_special(text[size + i])));
    }
    if (special != 0) break;
  }
  while (size < text.size() && !is_special(text[size])) ++size;
  return size;
}

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
    const std::size_t plain = plain_size(utf8);
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
