// A package while the store is being made: its files and everything that they say.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "demo/recipe.h"

#include "store/scan/document.h"
#include "store/scan/taxonomy_package_scan.h"
#include "store/source_files.h"

namespace zendro::demo {

/// Where the maker finds what a recipe names.
struct SourceFolders {
  std::filesystem::path unpacked;    ///< one folder for each unpacked Debian package
  std::filesystem::path taxonomies;  ///< descriptions of taxonomies
};

struct Draft {
  PackageRecipe recipe;
  std::string member;                      ///< path of its archive, relative to the store
  std::vector<store::SourceFile> files;    ///< sorted by path
  std::vector<store::Document> documents;  ///< all schemas, linkbases and DTDs among the files
  // What the package offers; the values are paths in the archive, a location that ends with "/"
  // may lead to a folder.
  std::map<std::string, std::string> locations;
  std::map<std::string, std::string> namespaces;
  std::map<std::string, std::string> public_ids;
  std::string title;
  std::string description;
  std::string homepage;
  std::string publisher;
  std::vector<store::EntryPoint> entry_points;
};

/// Takes in the files of one package and reads them. `type` is the package type, `member_name` the
/// file name of the archive. Throws std::runtime_error that names the package.
Draft make_draft(const PackageRecipe& recipe, const std::string& type,
                 const std::string& member_name, const SourceFolders& folders);

}  // namespace zendro::demo
