#include "pkg/catalogs.h"

#include <algorithm>
#include <array>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <boost/sort/spinsort/spinsort.hpp>

#include "pkg/list_files.h"
#include "pkg/local_files.h"
#include "pkg/meta_maps.h"
#include "pkg/package_url.h"
#include "pkg/pkg_xml_writer.h"
#include "pkg/replace_file.h"

namespace zendro::pkg {
namespace {

struct supplier_t {
  std::string root_url;  ///< which the URLs of its members begin with
  bool is_of_dtds;
};

struct entry_t {
  std::string_view key;
  std::string_view target;     ///< a member of the supplier
  const supplier_t* supplier;  ///< null: the target is a URI
};

// All texts are views of the list, of suppliers or of `urls`.
struct catalog_entries_t {
  std::vector<entry_t> identifiers;  ///< those with a supplier are public
  std::vector<entry_t> locations;
  std::vector<entry_t> mappings;  ///< namespace-catalog URL to package URL
  std::vector<entry_t> remappings;
  std::list<supplier_t> suppliers;  ///< which stay where they are
  std::list<std::string> urls;      ///< which stay where they are
};

void collect_locations(const meta_maps_t& maps, const supplier_t& supplier,
                       catalog_entries_t& all) {
  maps.for_each_location([&](std::string_view key, std::string_view member) {
    all.locations.push_back({key, member, &supplier});
  });
}

void collect_identifiers(const package_t& package, const meta_maps_t& maps,
                         const supplier_t& supplier, catalog_entries_t& all) {
  std::optional<std::string_view> package_name;
  maps.for_each_namespace([&](std::string_view name, const namespace_entry_t& entry) {
    if (entry.is_public) {
      all.identifiers.push_back({name, entry.member_path, &supplier});
      return;
    }
    if (!package_name) package_name = package.meta.name();
    const std::string_view name_url =
        all.urls.emplace_back(namespace_catalog_url(*package_name, name));
    all.mappings.push_back({name_url, entry.member_path, &supplier});
    all.identifiers.push_back({name, name_url, nullptr});
  });
}

void collect_remappings(const meta_maps_t& maps, catalog_entries_t& all) {
  maps.for_each_mapping([&all](std::string_view prefix, std::string_view target) {
    all.remappings.push_back({prefix, target, nullptr});
  });
}

// Adds all that a package supplies, or nothing and throws metadata_error.
void collect(const package_t& package, catalog_entries_t& all) {
  const std::array lists = {&all.identifiers, &all.locations, &all.mappings, &all.remappings};
  std::array<std::size_t, lists.size()> sizes{};
  std::transform(lists.begin(), lists.end(), sizes.begin(),
                 [](auto* list) { return list->size(); });
  try {
    const meta_maps_t maps(package.meta, map_order::any);
    const supplier_t& supplier = all.suppliers.emplace_back(
        supplier_t{package_url(package.identity, ""), package.identity.name.ends_with("-dtd")});
    collect_identifiers(package, maps, supplier, all);
    collect_locations(maps, supplier, all);
    collect_remappings(maps, all);
  } catch (const framework::JsonError& error) {
    for (std::size_t i = 0; i < lists.size(); ++i) lists[i]->resize(sizes[i]);
    throw metadata_error(package.identity, error);
  }
}

// Sorts the keys by their bytes. Of several suppliers of a key the first in package order stays;
// all of them are installed.
void put_in_order(std::vector<entry_t>& entries) {
  const auto is_before = [](const entry_t& a, const entry_t& b) { return a.key < b.key; };
  const auto is_not_before = [&](const entry_t& a, const entry_t& b) { return !is_before(a, b); };
  if (std::adjacent_find(entries.begin(), entries.end(), is_not_before) == entries.end()) return;
  // Stable, and quick with what is in order already, as the entries of a package mostly are.
  boost::sort::spinsort(entries.begin(), entries.end(), is_before);
  const auto end = std::unique(entries.begin(), entries.end(),
                               [](const entry_t& a, const entry_t& b) { return a.key == b.key; });
  entries.erase(end, entries.end());
}

// The URI of an entry's target; `buffer` may hold it.
std::string_view target_uri(const entry_t& entry, std::string& buffer) {
  if (entry.supplier == nullptr) return entry.target;
  buffer = entry.supplier->root_url;
  append_member_path(buffer, entry.target);
  return buffer;
}

// Calls `add` with every entry, in order, and the URI of its target.
template <typename Add>
void write_entries(std::vector<entry_t>& entries, pkg_xml_writer& writer, const Add& add) {
  put_in_order(entries);
  std::size_t bytes = 0;
  for (const entry_t& entry : entries) {
    bytes += entry.key.size() + entry.target.size();
    if (entry.supplier != nullptr) bytes += entry.supplier->root_url.size();
  }
  writer.reserve(entries.size(), bytes);
  std::string buffer;
  for (const entry_t& entry : entries) add(entry, target_uri(entry, buffer));
}

std::string identifier_catalog(catalog_entries_t& entries) {
  pkg_xml_writer writer(false, true);
  write_entries(entries.identifiers, writer, [&](const entry_t& entry, std::string_view target) {
    if (entry.supplier != nullptr) {
      writer.public_id(entry.key, target);
    } else {
      writer.uri(entry.key, target);
    }
  });
  return writer.take_document();
}

std::string location_catalog(catalog_entries_t& entries) {
  pkg_xml_writer writer(false, false);
  write_entries(entries.locations, writer, [&](const entry_t& entry, std::string_view target) {
    if (entry.key.ends_with('/')) {
      writer.rewrite_uri(entry.key, target);
    } else if (entry.supplier->is_of_dtds) {
      writer.system(entry.key, target);
    } else {
      writer.uri(entry.key, target);
    }
  });
  write_entries(entries.mappings, writer, [&](const entry_t& entry, std::string_view target) {
    writer.uri(entry.key, target);
  });
  return writer.take_document();
}

std::string remapping_catalog(catalog_entries_t& entries) {
  pkg_xml_writer writer(false, true);
  write_entries(entries.remappings, writer, [&](const entry_t& entry, std::string_view target) {
    writer.rewrite_uri(entry.key, target);
  });
  return writer.take_document();
}

// The entry that a catalog has for the text: of exactly that key, else of the longest prefix among
// those for which `is_prefix` holds. The entries are in order.
template <typename IsPrefix>
const entry_t* find_entry(const std::vector<entry_t>& entries, std::string_view text,
                          const IsPrefix& is_prefix) {
  const entry_t* best = nullptr;
  for (const entry_t& entry : entries) {
    if (entry.key == text) return &entry;
    const bool fits = is_prefix(entry) && text.starts_with(entry.key);
    if (fits && (best == nullptr || best->key.size() < entry.key.size())) best = &entry;
  }
  return best;
}

// The next step from the text; nothing where it leads nowhere.
std::optional<catalog_step_t> next_step(const catalog_entries_t& all, std::string_view text) {
  const auto always = [](const entry_t&) { return true; };
  const auto never = [](const entry_t&) { return false; };
  const auto is_folder = [](const entry_t& entry) { return entry.key.ends_with('/'); };
  const auto step = [&](const char* catalog, const char* element, const entry_t& entry) {
    std::string buffer;
    const bool is_prefix = entry.key.size() < text.size();
    std::string target(target_uri(entry, buffer));
    if (is_prefix) target += text.substr(entry.key.size());
    return catalog_step_t{catalog, element, std::string(entry.key), std::move(target)};
  };
  if (const entry_t* entry = find_entry(all.identifiers, text, never)) {
    return step("namespace-mapping-catalog.xml", entry->supplier != nullptr ? "public" : "uri",
                *entry);
  }
  if (const entry_t* entry = find_entry(all.locations, text, is_folder)) {
    const char* element = is_folder(*entry)             ? "rewriteURI"
                          : entry->supplier->is_of_dtds ? "system"
                                                        : "uri";
    return step("catalog.xml", element, *entry);
  }
  if (const entry_t* entry = find_entry(all.mappings, text, never)) {
    return step("catalog.xml", "uri", *entry);
  }
  if (const entry_t* entry = find_entry(all.remappings, text, always)) {
    return step("remapping.xml", "rewriteURI", *entry);
  }
  return std::nullopt;
}

bool replace_catalog(core_context& context, std::string_view name, const std::string& text) {
  const msg::Arguments folder = {path_argument(context.cache_folder().path())};
  switch (replace_file(context.cache_folder(), name, text, context.reporter())) {
    case replace_outcome::no_folder:
      return context.fail(msg::Code::create_folder, folder);
    case replace_outcome::not_opened:
      return context.fail(msg::Code::create_file, folder);
    case replace_outcome::not_written:
      return context.fail(msg::Code::write_file, folder);
    case replace_outcome::replaced:
      break;
  }
  return true;
}

}  // namespace

void check_catalog_entries(const package_t& package) {
  catalog_entries_t entries;
  collect(package, entries);
}

std::vector<catalog_step_t> trace_in_catalogs(const pkgs_available_t& installed,
                                              std::string_view text) {
  constexpr std::size_t most = 16;  // prefixes may lead in circles
  catalog_entries_t all;
  for (const package_t& package : installed.packages()) {
    try {
      collect(package, all);
    } catch (const metadata_error&) {  // NOLINT(bugprone-empty-catch): it is in no catalog
    }
  }
  for (auto* entries : {&all.identifiers, &all.locations, &all.mappings, &all.remappings}) {
    put_in_order(*entries);
  }
  std::vector<catalog_step_t> steps;
  std::string at(text);
  while (steps.size() < most) {
    auto step = next_step(all, at);
    if (!step) break;
    at = step->target;
    steps.push_back(std::move(*step));
  }
  return steps;
}

bool update_catalogs(core_context& context) {
  const std::optional<pkgs_available_t> installed = load_installed(context);
  return installed && write_catalogs(context, *installed);
}

bool write_catalogs(core_context& context, const pkgs_available_t& installed) {
  catalog_entries_t entries;
  std::vector<const package_t*> packages;
  for (const package_t& package : installed.packages()) {
    try {
      collect(package, entries);
      packages.push_back(&package);
    } catch (const metadata_error& error) {
      warn_metadata(context, error, "The catalogs are written without the package.");
    }
  }

  struct catalog_t {
    const char* name;
    std::string (*text)(catalog_entries_t&);
  };
  constexpr catalog_t catalogs[] = {{"namespace-mapping-catalog.xml", identifier_catalog},
                                    {"catalog.xml", location_catalog},
                                    {"remapping.xml", remapping_catalog}};
  for (const catalog_t& catalog : catalogs) {
    if (!replace_catalog(context, catalog.name, catalog.text(entries))) return false;
  }
  update_local_files(context, packages);
  return true;
}

}  // namespace zendro::pkg
