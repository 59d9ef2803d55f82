#include "framework/xml.h"

#include <gtest/gtest.h>

namespace zendro::framework {
namespace {

TEST(XmlTest, WritesTheDocumentsOwnDeclarationOnly) {
  pugi::xml_document document;
  auto root = document.append_child("catalog");
  EXPECT_EQ(format_xml(document), "<catalog />\n");
  auto declaration = document.prepend_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  root.append_attribute("xmlns") = "urn:x";
  root.append_child("uri").append_attribute("name") = "a&<>\"'\u00E9";
  EXPECT_EQ(format_xml(document),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<catalog xmlns=\"urn:x\">\n"
            "  <uri name=\"a&amp;&lt;>&quot;'\u00E9\" />\n"
            "</catalog>\n");
}

TEST(XmlTest, AttributeValuesSurviveWritingAndReading) {
  const std::string value = "tab\tline\nreturn\r end\u0085\u2028\U0001F600";
  pugi::xml_document document;
  document.append_child("a").append_attribute("b") = value.c_str();
  pugi::xml_document read;
  ASSERT_TRUE(read.load_string(format_xml(document).c_str()));
  EXPECT_EQ(read.child("a").attribute("b").value(), value);
}

TEST(XmlTest, SafeTextEncodesWhatNoDocumentCanHold) {
  EXPECT_EQ(xml_safe("urn:\t\n\r \x7F\u0085\u00E9\uD7FF\uE000\uFFFD\U0010FFFF<&%"),
            "urn:\t\n\r \x7F\u0085\u00E9\uD7FF\uE000\uFFFD\U0010FFFF<&%");
  EXPECT_EQ(xml_safe(std::string_view("a\0b\x01\x1F", 5)), "a%00b%01%1F");
  EXPECT_EQ(xml_safe("\uFFFE|\uFFFF"), "%EF%BF%BE|%EF%BF%BF");
  // Not UTF-8: a lone continuation, overlong forms, a surrogate, too large, cut off.
  EXPECT_EQ(xml_safe("\x80|\xC0\xAF|\xE0\x80\x80|\xED\xA0\x80|\xF4\x90\x80\x80|\xE2\x82"),
            "%80|%C0%AF|%E0%80%80|%ED%A0%80|%F4%90%80%80|%E2%82");
}

}  // namespace
}  // namespace zendro::framework
