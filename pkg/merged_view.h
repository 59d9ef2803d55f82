// The available and the installed list seen together: what the grid shows.
#pragma once

#include <string>
#include <vector>

#include "pkg/meta.h"
#include "pkg/name_semver.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// One package version that occurs in either list.
struct version_view_t {
  name_semver_t identity;
  meta_t meta;     ///< of the installed list where installed, else of the available list
  bool available;  ///< stands in the available list proper, so that filters choose it
  bool installed;
  bool deprecated;  ///< stands in the "_DEPRECATED" map of a list
};

/// Owns the lists that its rows view. Moved, not copied.
struct merged_view_t {
  pkgs_available_t available;
  pkgs_available_t installed;
  std::vector<version_view_t> versions;  ///< in package order: name ascending, newest first

  merged_view_t() = default;
  merged_view_t(pkgs_available_t available, pkgs_available_t installed);
};

}  // namespace zendro::pkg
