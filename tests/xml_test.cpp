#include "framework/text/xml.h"

#include <gtest/gtest.h>
#include <pugixml.hpp>

namespace zendro {
namespace {

std::string attribute_value(std::string_view utf8) {
  std::string xml;
  framework::append_attribute_value(xml, utf8);
  return xml;
}

TEST(XmlTest, AttributeValuesEncodeWhatNoDocumentCanHold) {
  EXPECT_EQ(attribute_value(std::string_view("a\0b\x01\x1F", 5)), "a%00b%01%1F");
  EXPECT_EQ(attribute_value("\uFFFE|\uFFFF"), "%EF%BF%BE|%EF%BF%BF");
  // Not UTF-8: a lone continuation, overlong forms, a surrogate, too large, cut off.
  EXPECT_EQ(attribute_value("\x80|\xC0\xAF|\xE0\x80\x80|\xED\xA0\x80|\xF4\x90\x80\x80|\xE2\x82"),
            "%80|%C0%AF|%E0%80%80|%ED%A0%80|%F4%90%80%80|%E2%82");
}

// Whatever stands beside what.
TEST(XmlTest, AttributeValuesAreThoseThatAnotherWriterWritesAndReads) {
  struct Piece {
    std::string_view text;
    std::string_view kept;  // what a reader gets
  };
  std::vector<Piece> pieces = {
      {"\x01", "%01"},         {{"\0", 1}, "%00"},
      {"\x1F", "%1F"},         {"\uFFFE", "%EF%BF%BE"},
      {"\uFFFF", "%EF%BF%BF"}, {"\xFF", "%FF"},
      {"\xC0\xAF", "%C0%AF"},  {"\xED\xA0\x80", "%ED%A0%80"},
      {"\xE2\x82", "%E2%82"},  {"longer than 16 bytes", "longer than 16 bytes"}};
  for (const std::string_view kept :
       {"",       "plain",  "&",          "<",          ">",         "\"",     "'",
        "&amp;",  "&#10;",  "]]>",        "%",          "%41",       "\t",     "\n",
        "\r",     " ",      "\x7F",       "\u0085",     "\u00E9",    "\u2028", "\uD7FF",
        "\uE000", "\uFFFD", "\U0001F600", "\U0001FFFE", "\U0010FFFF"}) {
    pieces.push_back({kept, kept});
  }
  for (const Piece& a : pieces) {
    for (const Piece& b : pieces) {
      for (const Piece& c : pieces) {
        std::string text;
        std::string kept;
        for (const Piece& piece : {a, b, c}) {
          text += piece.text;
          kept += piece.kept;
        }
        pugi::xml_document document;
        document.append_child("a").append_attribute("b") = kept.c_str();
        const std::string xml = "<a b=\"" + attribute_value(text) + "\" />\n";
        std::ostringstream written;
        document.save(written, "", pugi::format_indent | pugi::format_no_declaration);
        ASSERT_EQ(xml, written.str());
        ASSERT_TRUE(document.load_string(xml.c_str()));
        ASSERT_EQ(document.child("a").attribute("b").value(), kept);
      }
    }
  }
}

}  // namespace
}  // namespace zendro
