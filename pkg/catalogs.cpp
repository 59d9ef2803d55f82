#include "pkg/catalogs.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include <pugixml.hpp>

#include "pkg/list_files.h"
#include "pkg/package_url.h"
#include "pkg/pkg_xml_writer.h"
#include "pkg/xml_file.h"

namespace zendro::pkg {
namespace {

struct target_t {
  std::string uri;
  bool is_public = false;  ///< the key is a public identifier
  bool is_dtd = false;     ///< the key belongs to a package of DTDs
};

// Keys point into the list, which outlives the maps. std::less compares them by bytes.
using entry_map_t = std::map<std::string_view, target_t>;

struct catalog_entries_t {
  entry_map_t identifiers;
  entry_map_t locations;
  std::map<std::string, std::string> mappings;  ///< namespace-catalog URL to package URL
  entry_map_t remappings;
};

std::string_view view(json::string_view text) { return {text.data(), text.size()}; }

void collect_locations(const package_t& package, entry_map_t& locations) {
  const json::object* entries = package.meta.catalogs();
  if (entries == nullptr) return;
  const bool is_dtd = package.identity.name.ends_with("-dtd");
  for (const json::key_value_pair& entry : *entries) {
    const std::string_view member = framework::as_string(entry.value());
    locations.try_emplace(view(entry.key()),
                          target_t{package_url(package.identity, member), false, is_dtd});
  }
}

// The value of a namespace entry: a member path, or a map that may mark a public identifier.
void collect_identifiers(const package_t& package, catalog_entries_t& entries) {
  const json::object* names = package.meta.namespace_catalog();
  if (names == nullptr) return;
  for (const json::key_value_pair& entry : *names) {
    const std::string_view name = view(entry.key());
    const json::value* path = &entry.value();
    bool is_public = false;
    if (const json::object* details = entry.value().if_object()) {
      path = details->if_contains("path");
      const json::value* flag = details->if_contains("public");
      is_public = flag != nullptr && framework::to_bool(*flag);
    }
    const json::value none;
    const std::string_view member = framework::as_string(path == nullptr ? none : *path);
    std::string url = package_url(package.identity, member);
    if (!is_public) {
      std::string name_url = namespace_catalog_url(package.meta.name(), name);
      entries.mappings.try_emplace(name_url, std::move(url));
      url = std::move(name_url);
    }
    entries.identifiers.try_emplace(name, target_t{std::move(url), is_public, false});
  }
}

void collect_remappings(const package_t& package, entry_map_t& remappings) {
  const json::object* pairs = package.meta.uri_mappings();
  if (pairs == nullptr) return;
  for (const json::key_value_pair& pair : *pairs) {
    remappings.try_emplace(view(pair.key()),
                           target_t{std::string(framework::as_string(pair.value())), false, false});
  }
}

// Of several suppliers of a key the first in package order stays. All of them are installed.
void collect(const package_t& package, catalog_entries_t& entries) {
  collect_identifiers(package, entries);
  collect_locations(package, entries.locations);
  collect_remappings(package, entries.remappings);
}

void fill_identifier_catalog(const catalog_entries_t& entries, pugi::xml_document& document) {
  pkg_xml_writer writer(document, false, true);
  for (const auto& [key, target] : entries.identifiers) {
    if (target.is_public) {
      writer.public_id(key, target.uri);
    } else {
      writer.uri(key, target.uri);
    }
  }
}

void fill_location_catalog(const catalog_entries_t& entries, pugi::xml_document& document) {
  pkg_xml_writer writer(document, false, false);
  for (const auto& [key, target] : entries.locations) {
    if (key.ends_with('/')) {
      writer.rewrite_uri(key, target.uri);
    } else if (target.is_dtd) {
      writer.system(key, target.uri);
    } else {
      writer.uri(key, target.uri);
    }
  }
  for (const auto& [key, uri] : entries.mappings) writer.uri(key, uri);
}

void fill_remapping_catalog(const catalog_entries_t& entries, pugi::xml_document& document) {
  pkg_xml_writer writer(document, false, true);
  for (const auto& [key, target] : entries.remappings) writer.rewrite_uri(key, target.uri);
}

}  // namespace

void check_catalog_entries(const package_t& package) {
  catalog_entries_t entries;
  collect(package, entries);
}

bool update_catalogs(core_context_t& context) {
  const std::optional<pkgs_available_t> installed = load_installed(context);
  return installed && write_catalogs(context, *installed);
}

bool write_catalogs(core_context_t& context, const pkgs_available_t& installed) {
  catalog_entries_t entries;
  for (const package_t& package : installed.packages()) {
    try {
      collect(package, entries);
    } catch (const framework::JsonError& error) {
      return fail_metadata(context, context.installed_path(), package, error);
    }
  }

  struct catalog_t {
    const char* name;
    void (*fill)(const catalog_entries_t&, pugi::xml_document&);
  };
  constexpr catalog_t catalogs[] = {{"namespace-mapping-catalog.xml", fill_identifier_catalog},
                                    {"catalog.xml", fill_location_catalog},
                                    {"remapping.xml", fill_remapping_catalog}};
  for (const catalog_t& catalog : catalogs) {
    pugi::xml_document document;
    catalog.fill(entries, document);
    if (!write_xml_file(document, context.cache_file(catalog.name), &context.reporter())) {
      return false;
    }
  }
  return true;
}

}  // namespace zendro::pkg
