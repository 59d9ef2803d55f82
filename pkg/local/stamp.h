// What says that the folder of a package is whole, and of what it was made.
#pragma once

#include <optional>
#include <string>

#include "framework/system/folder.h"
#include "pkg/local/package.h"

namespace zendro::pkg::local {

/// Written last into the folder of a package.
inline constexpr std::string_view kStampFile = "stamp";

struct stamp_t {
  std::string source;           ///< see source_of()
  bool has_namespaces = false;  ///< there is a catalog of namespaces
  int zips = 0;                 ///< taxonomy packages among those of all packages
};

/// A text that is another one as soon as the folder of the package would be another one: the digest
/// of what it is made from. `root` is the absolute path of the folder of all packages.
std::string source_of(const package_t& package, const std::string& root);

/// The stamp of a package's folder; nothing where there is none, or none that can be read.
std::optional<stamp_t> read_stamp(const framework::Folder& folder);
framework::Result<void> write_stamp(const framework::Folder& folder, const stamp_t& stamp);

}  // namespace zendro::pkg::local
