// Reading of "META-INF/taxonomyPackage.xml" (XBRL Taxonomy Packages 1.0).
#pragma once

#include <string>
#include <vector>

#include "store/source_files.h"

namespace zendro::store {

struct EntryPoint {
  std::string name;
  std::string location;
};

/// Of texts in several languages the English one, else the first.
struct TaxonomyPackage {
  std::string title;
  std::string description;
  std::string publisher;
  std::string homepage;
  std::vector<EntryPoint> entry_points;         ///< one for each of their documents
  std::vector<std::string> versioning_reports;  ///< their locations
};

/// Throws std::runtime_error for a file that is no such document.
TaxonomyPackage scan_taxonomy_package(const SourceFile& file);

}  // namespace zendro::store
