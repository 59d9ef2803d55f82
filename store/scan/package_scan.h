// What the files of a package say: the names that they can be found under, the documents that they
// need from elsewhere, and the words that describe them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "framework/io/io.h"

#include "store/scan/document.h"
#include "store/scan/taxonomy_package_scan.h"
#include "store/source_files.h"

namespace zendro::store {

/// What a document needs and its package does not hold.
struct OpenDemand {
  std::string path;  ///< of the document
  Demand demand;
};

struct PackageScan {
  std::vector<Document> documents;  ///< schemas, linkbases and document type definitions
  // What the package offers; the values are paths. A location that ends with "/" leads to a folder.
  std::map<std::string, std::string> locations;
  std::map<std::string, std::string> namespaces;
  std::map<std::string, std::string> public_ids;
  TaxonomyPackage words;  ///< title, entry points ...; each may be missing
  std::vector<OpenDemand> open;
  std::vector<std::string> remarks;  ///< what is odd about it
};

/// Reads the files of a package (sorted by path): schemas, document type definitions, OASIS
/// catalogs, and what makes them a taxonomy package (XBRL Taxonomy Packages 1.0). An error names
/// file and line.
framework::Result<PackageScan> scan_package(const std::vector<SourceFile>& files);

}  // namespace zendro::store
