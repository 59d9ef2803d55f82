#include "store/scan/taxonomy_package_scan.h"

#include <stdexcept>

#include <pugixml.hpp>

namespace zendro::store {

TaxonomyPackage scan_taxonomy_package(const SourceFile& file) {
  pugi::xml_document tree;
  const pugi::xml_parse_result parsed = tree.load_buffer(file.bytes.data(), file.bytes.size());
  const pugi::xml_node root = tree.child("tp:taxonomyPackage");
  if (!parsed || !root) {
    throw std::runtime_error(file.path + " is no taxonomy package: " + parsed.description());
  }
  TaxonomyPackage package;
  package.title = root.child_value("tp:name");
  package.description = root.child_value("tp:description");
  package.publisher = root.child_value("tp:publisher");
  package.homepage = root.child_value("tp:publisherURL");
  for (const pugi::xml_node& entry : root.child("tp:entryPoints").children("tp:entryPoint")) {
    package.entry_points.push_back(
        {entry.child_value("tp:name"),
         entry.child("tp:entryPointDocument").attribute("href").value()});
  }
  return package;
}

}  // namespace zendro::store
