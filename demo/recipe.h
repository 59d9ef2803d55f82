// The recipe of a package store: which files of which unpacked Debian package, or which taxonomy
// description, make which package. Read from JSON; see demo/recipe.json.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "pkg/name_semver.h"

namespace zendro::demo {

/// One version of a package as the recipe asks for it.
struct PackageRecipe {
  pkg::name_semver_t identity;
  std::string source;                ///< the Debian package; empty for a generated taxonomy
  std::string folder;                ///< below the Debian package's root
  std::string taxonomy;              ///< the file with the taxonomy's description, else empty
  std::vector<std::string> members;  ///< patterns of collect_files, relative to `folder`
  std::vector<std::string> support;  ///< as `members`: carried along without being offered
  std::map<std::string, std::string> copies;  ///< path in the archive to path below `folder`
  std::string catalog;                        ///< OASIS catalog relative to `folder`; empty: none
  std::string main;                           ///< document that describes the package
  std::string title;                          ///< empty, like the next three: taken from the files
  std::string description;
  std::string homepage;
  std::string publisher;
  std::vector<std::string> references;
  std::vector<std::string> conflicts;
  std::map<std::string, std::string> uri_mappings;
  std::set<std::string> known_missing;  ///< locations and public identifiers that the sources
                                        ///< themselves leave open
  bool deprecated = false;
  bool in_package_file = false;  ///< part of the type's package file instead of the store
};

/// The store of one package type.
struct StoreRecipe {
  std::string type;          ///< "xsd" or "xbrl"
  std::string package_file;  ///< name of the package file
  std::string member;        ///< name of the archive that each package consists of
  std::vector<PackageRecipe> packages;
};

struct Recipe {
  std::int64_t build_number = 0;
  std::set<std::string> builtin;  ///< namespaces and locations that every XML tool brings along
  std::vector<StoreRecipe> stores;
};

/// Reads a recipe. Throws std::runtime_error that names the file and the member at fault.
Recipe read_recipe(const std::filesystem::path& path);

}  // namespace zendro::demo
