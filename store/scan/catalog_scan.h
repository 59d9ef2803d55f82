// Reading of OASIS XML Catalogs 1.1 that come with schemas and document type definitions.
#pragma once

#include <map>
#include <string>

#include "store/source_files.h"

namespace zendro::store {

/// The entries of one catalog, each leading to a path in the archive that holds the catalog.
struct CatalogEntries {
  std::map<std::string, std::string> locations;   ///< system, uri
  std::map<std::string, std::string> prefixes;    ///< rewriteSystem, rewriteURI
  std::map<std::string, std::string> public_ids;  ///< normalised
};

/// Reads a catalog whose targets are relative to it; others are left out. Throws
/// std::runtime_error for a file that is no catalog.
CatalogEntries scan_catalog(const SourceFile& file);

}  // namespace zendro::store
