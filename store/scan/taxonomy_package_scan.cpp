#include "store/scan/taxonomy_package_scan.h"

#include <stdexcept>

#include <pugixml.hpp>

#include "store/scan/document.h"
#include "store/scan/xml_names.h"

namespace zendro::store {
namespace {

// The language of an element: its own, or that of what it stands in.
std::string_view language_of(pugi::xml_node element) {
  for (; element; element = element.parent()) {
    if (const pugi::xml_attribute language = element.attribute("xml:lang")) return language.value();
  }
  return {};
}

// The text of a child that may be there once for each language: in English, else the first one.
std::string worded(const pugi::xml_node& parent, std::string_view name) {
  std::string first;
  for (const pugi::xml_node& child : parent.children()) {
    if (local_name(child) != name) continue;
    std::string text = collapse_white_space(child.child_value());
    if (language_of(child).starts_with("en")) return text;
    if (first.empty()) first = std::move(text);
  }
  return first;
}

}  // namespace

TaxonomyPackage scan_taxonomy_package(const SourceFile& file) {
  pugi::xml_document tree;
  const pugi::xml_parse_result parsed = tree.load_buffer(file.bytes.data(), file.bytes.size());
  const pugi::xml_node root = tree.document_element();
  if (!parsed || local_name(root) != "taxonomyPackage") {
    throw std::runtime_error(
        file.path + ":" +
        std::to_string(line_at(file.bytes, static_cast<std::size_t>(parsed.offset))) +
        ": this is no taxonomy package: " + parsed.description());
  }
  TaxonomyPackage package;
  package.title = worded(root, "name");
  package.description = worded(root, "description");
  package.publisher = worded(root, "publisher");
  package.homepage = worded(root, "publisherURL");
  for (const pugi::xml_node& entry : child_element(root, "entryPoints").children()) {
    if (local_name(entry) != "entryPoint") continue;
    // An entry point may consist of several documents.
    for (const pugi::xml_node& document : entry.children()) {
      if (local_name(document) != "entryPointDocument") continue;
      package.entry_points.push_back({worded(entry, "name"), document.attribute("href").value()});
    }
  }
  for (const pugi::xml_node& report : child_element(root, "versioningReports").children()) {
    if (local_name(report) != "versioningReport") continue;
    package.versioning_reports.emplace_back(report.attribute("href").value());
  }
  return package;
}

}  // namespace zendro::store
