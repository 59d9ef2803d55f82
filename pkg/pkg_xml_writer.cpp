#include "pkg/pkg_xml_writer.h"

#include <utility>

#include "framework/text/xml.h"

namespace zendro::pkg {

pkg_xml_writer::pkg_xml_writer(bool specification_catalog, bool keep_proxy) {
  xml_ =
      R"(<?xml version="1.0" encoding="UTF-8"?>
<catalog xmlns="urn:oasis:names:tc:entity:xmlns:xml:catalog")"
      R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
      R"( xsi:schemaLocation="urn:oasis:names:tc:entity:xmlns:xml:catalog Catalog.xsd")"
      R"( xmlns:kel="http://www.zendro.example/catalog_ext")";
  if (specification_catalog) xml_ += R"( kel:specification_catalog="true")";
  if (keep_proxy) xml_ += R"( kel:keepProxy="true")";
}

void pkg_xml_writer::reserve(std::size_t entries, std::size_t text_bytes) {
  constexpr std::size_t kLongestMarkup = 52;  // what a "rewriteURI" is without its texts
  xml_.reserve(xml_.size() + entries * kLongestMarkup + text_bytes);
}

void pkg_xml_writer::rewrite_uri(std::string_view uri_start_string,
                                 std::string_view rewrite_prefix) {
  entry(R"(<rewriteURI uriStartString=")", uri_start_string, R"(" rewritePrefix=")",
        rewrite_prefix);
}

void pkg_xml_writer::system(std::string_view name, std::string_view uri) {
  entry(R"(<system name=")", name, R"(" uri=")", uri);
}

void pkg_xml_writer::uri(std::string_view name, std::string_view uri) {
  entry(R"(<uri name=")", name, R"(" uri=")", uri);
}

void pkg_xml_writer::public_id(std::string_view public_id, std::string_view uri) {
  entry(R"(<public publicId=")", public_id, R"(" uri=")", uri);
}

std::string pkg_xml_writer::take_document() {
  xml_ += has_entries_ ? "</catalog>\n" : " />\n";
  return std::move(xml_);
}

void pkg_xml_writer::entry(std::string_view key_begin, std::string_view key,
                           std::string_view target_begin, std::string_view target) {
  // The root element stays open until it is known whether it holds anything.
  xml_ += has_entries_ ? "  " : ">\n  ";
  has_entries_ = true;
  xml_ += key_begin;
  framework::append_attribute_value(xml_, key);
  xml_ += target_begin;
  framework::append_attribute_value(xml_, target);
  xml_ += "\" />\n";
}

}  // namespace zendro::pkg
