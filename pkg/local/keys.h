// The catalogs of one package.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "pkg/local/catalog_file.h"
#include "pkg/local/package.h"
#include "pkg/local/unpacking.h"

namespace zendro::pkg::local {

inline constexpr std::string_view kCatalogStem = "catalog";
inline constexpr std::string_view kNamespacesStem = "namespaces";

/// The paths of the files that the keys of a package take for archives.
std::set<std::string> marked_archives(const package_t& package);

struct prefix_t {
  std::string_view key;
  std::string target;  ///< relative to the folder of all packages
};

/// "catalog.xml" and, where the package has names of namespaces, "namespaces.xml", with the files
/// that follow them. A key without a file is left out. `root` is the absolute path of the folder of
/// all packages, with "/" between components.
std::vector<file_t> catalogs_of(const package_t& package, const unpacker& files,
                                const std::string& root);

/// The prefixes of a package, which belong behind the exact keys of all.
void add_prefixes(const package_t& package, std::vector<prefix_t>& prefixes);

/// Whether what catalogs_of() makes depends on where the folder is.
bool depends_on_place(const package_t& package);

}  // namespace zendro::pkg::local
