#include "store/scan/catalog_scan.h"

#include <stdexcept>
#include <string_view>

#include <pugixml.hpp>

#include "framework/text/percent.h"

#include "store/scan/document.h"
#include "store/scan/dtd_scan.h"
#include "store/scan/xml_names.h"

namespace zendro::store {

namespace {

constexpr std::string_view kCatalogNamespace = "urn:oasis:names:tc:entity:xmlns:xml:catalog";

// Base is what targets are relative to: the catalog, or what an "xml:base" names.
void collect(const pugi::xml_node& node, const std::string& above, CatalogEntries& entries) {
  const std::string own_base = framework::percent_decode(node.attribute("xml:base").value());
  if (is_absolute(own_base)) return;
  const std::string base = own_base.empty() ? above : resolve_path(above, own_base);
  for (const pugi::xml_node& entry : node.children()) {
    const std::string_view kind = local_name(entry);
    if (kind == "group") {
      collect(entry, base, entries);
      continue;
    }
    const bool rewrites = kind == "rewriteURI" || kind == "rewriteSystem";
    const std::string target =
        framework::percent_decode(entry.attribute(rewrites ? "rewritePrefix" : "uri").value());
    if (target.empty() || target.front() == '/' || is_absolute(target)) continue;
    const std::string path = resolve_path(base, target);
    if (kind == "public") {
      entries.public_ids.emplace(normalise_public_id(entry.attribute("publicId").value()), path);
    } else if (kind == "system") {
      entries.locations.emplace(entry.attribute("systemId").value(), path);
    } else if (kind == "uri") {
      entries.locations.emplace(entry.attribute("name").value(), path);
    } else if (rewrites) {
      const char* key = kind == "rewriteURI" ? "uriStartString" : "systemIdStartString";
      entries.prefixes.emplace(entry.attribute(key).value(), path);
    }
  }
}

}  // namespace

CatalogEntries scan_catalog(const SourceFile& file) {
  pugi::xml_document tree;
  const pugi::xml_parse_result parsed = tree.load_buffer(file.bytes.data(), file.bytes.size());
  const pugi::xml_node root = tree.document_element();
  if (!parsed || local_name(root) != "catalog" || namespace_of(root) != kCatalogNamespace) {
    throw std::runtime_error(
        file.path + ":" +
        std::to_string(line_at(file.bytes, static_cast<std::size_t>(parsed.offset))) +
        ": this is no XML catalog: " + parsed.description());
  }
  CatalogEntries entries;
  collect(root, file.path, entries);
  return entries;
}

}  // namespace zendro::store
