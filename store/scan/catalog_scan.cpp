#include "store/scan/catalog_scan.h"

#include <stdexcept>
#include <string_view>

#include <pugixml.hpp>

#include "store/scan/document.h"
#include "store/scan/dtd_scan.h"

namespace zendro::store {

namespace {

constexpr std::string_view kCatalogNamespace = "urn:oasis:names:tc:entity:xmlns:xml:catalog";

void collect(const pugi::xml_node& node, const std::string& catalog, CatalogEntries& entries) {
  for (const pugi::xml_node& entry : node.children()) {
    const std::string_view kind = entry.name();
    if (kind == "group") {
      collect(entry, catalog, entries);
      continue;
    }
    const bool rewrites = kind == "rewriteURI" || kind == "rewriteSystem";
    const std::string target = entry.attribute(rewrites ? "rewritePrefix" : "uri").value();
    if (target.empty() || target.front() == '/' || is_absolute(target)) {
      continue;
    }
    const std::string path = resolve_path(catalog, target);
    if (kind == "public") {
      entries.public_ids.emplace(normalise_public_id(entry.attribute("publicId").value()), path);
    } else if (kind == "system") {
      entries.locations.emplace(entry.attribute("systemId").value(), path);
    } else if (kind == "uri") {
      entries.locations.emplace(entry.attribute("name").value(), path);
    } else if (rewrites) {
      const char* key = kind == "rewriteURI" ? "uriStartString" : "systemIdStartString";
      entries.locations.emplace(entry.attribute(key).value(), path);
    }
  }
}

}  // namespace

CatalogEntries scan_catalog(const SourceFile& file) {
  pugi::xml_document tree;
  const pugi::xml_parse_result parsed = tree.load_buffer(file.bytes.data(), file.bytes.size());
  const pugi::xml_node root = tree.document_element();
  if (!parsed || std::string_view(root.name()) != "catalog" ||
      root.attribute("xmlns").value() != kCatalogNamespace) {
    throw std::runtime_error(file.path + " is no XML catalog: " + parsed.description());
  }
  CatalogEntries entries;
  collect(root, file.path, entries);
  return entries;
}

}  // namespace zendro::store
