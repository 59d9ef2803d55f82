// Reading the catalogs with a parser that takes nothing but well-formed XML 1.0.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zendro::fuzz {

struct CatalogEntry {
  std::string element;  ///< local name
  std::string key;
  std::string target;
  bool operator==(const CatalogEntry&) const = default;
};

/// The entries in their order; a finding when the file is not a well-formed catalog.
std::vector<CatalogEntry> read_catalog(const std::filesystem::path& path);

}  // namespace zendro::fuzz
