#include "framework/xml.h"

#include <algorithm>

#include "framework/percent.h"
#include "framework/utf8.h"

namespace zendro::framework {
namespace {

class StringWriter : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& out) : out_(out) {}
  void write(const void* data, std::size_t size) override {
    out_.append(static_cast<const char*>(data), size);
  }

 private:
  std::string& out_;
};

// The production Char of XML 1.0; surrogates never get here.
bool is_xml_character(char32_t c) {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c != 0xFFFE && c != 0xFFFF;
}

}  // namespace

std::string format_xml(const pugi::xml_document& document) {
  std::string out;
  StringWriter writer(out);
  // Without this flag pugixml adds a declaration of its own, which lacks the encoding; a
  // declaration that the document holds is written with it, too.
  document.save(writer, "  ", pugi::format_indent | pugi::format_no_declaration,
                pugi::encoding_utf8);
  return out;
}

std::string xml_safe(std::string_view utf8) {
  std::string out;
  out.reserve(utf8.size());
  for (std::size_t i = 0; i < utf8.size();) {
    // Printable ASCII, which is nearly all that there is, goes in one piece.
    const auto plain = std::find_if(utf8.begin() + static_cast<std::ptrdiff_t>(i), utf8.end(),
                                    [](char c) { return c < 0x20 || c > 0x7E; });
    const auto begin = i;
    i = static_cast<std::size_t>(plain - utf8.begin());
    out.append(utf8, begin, i - begin);
    if (i == utf8.size()) break;
    char32_t character = 0;
    const std::size_t length = decode_utf8(utf8.substr(i), character);
    if (length > 0 && is_xml_character(character)) {
      out.append(utf8, i, length);
      i += length;
      continue;
    }
    for (const std::size_t end = i + (length > 0 ? length : 1); i < end; ++i) {
      append_percent_encoded(out, static_cast<unsigned char>(utf8[i]));
    }
  }
  return out;
}

}  // namespace zendro::framework
