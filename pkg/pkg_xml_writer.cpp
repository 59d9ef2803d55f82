#include "pkg/pkg_xml_writer.h"

#include <string>

#include "framework/xml.h"

namespace zendro::pkg {

pkg_xml_writer::pkg_xml_writer(pugi::xml_document& document, bool specification_catalog,
                               bool keep_proxy) {
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  root_ = document.append_child("catalog");
  root_.append_attribute("xmlns") = "urn:oasis:names:tc:entity:xmlns:xml:catalog";
  root_.append_attribute("xmlns:xsi") = "http://www.w3.org/2001/XMLSchema-instance";
  root_.append_attribute("xsi:schemaLocation") =
      "urn:oasis:names:tc:entity:xmlns:xml:catalog Catalog.xsd";
  root_.append_attribute("xmlns:kel") = "http://www.zendro.example/catalog_ext";
  if (specification_catalog) root_.append_attribute("kel:specification_catalog") = "true";
  if (keep_proxy) root_.append_attribute("kel:keepProxy") = "true";
}

void pkg_xml_writer::rewrite_uri(std::string_view uri_start_string,
                                 std::string_view rewrite_prefix) {
  entry("rewriteURI", "uriStartString", uri_start_string, "rewritePrefix", rewrite_prefix);
}

void pkg_xml_writer::system(std::string_view name, std::string_view uri) {
  entry("system", "name", name, "uri", uri);
}

void pkg_xml_writer::uri(std::string_view name, std::string_view uri) {
  entry("uri", "name", name, "uri", uri);
}

void pkg_xml_writer::public_id(std::string_view public_id, std::string_view uri) {
  entry("public", "publicId", public_id, "uri", uri);
}

void pkg_xml_writer::entry(const char* element, const char* key_name, std::string_view key,
                           const char* target_name, std::string_view target) {
  pugi::xml_node node = root_.append_child(element);
  node.append_attribute(key_name) = framework::xml_safe(key).c_str();
  node.append_attribute(target_name) = framework::xml_safe(target).c_str();
}

}  // namespace zendro::pkg
