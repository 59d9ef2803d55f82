#include "demo/format_xml.h"

namespace zendro::demo {
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

}  // namespace zendro::demo
