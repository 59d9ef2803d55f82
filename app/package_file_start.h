// What the program does when it was started with a package file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pkg/cache.h"

namespace zendro::app {

struct PackageFileStart {
  bool open_dialog = false;
  std::vector<std::string> preselection;  ///< what the file provides
  std::wstring box_text;                  ///< why the dialog is not opened; empty: nothing is shown
};

/// Takes over the package file into the cache. An empty path opens the dialog with nothing
/// preselected. The cache's message sink is used meanwhile and empty afterwards.
PackageFileStart start_with_package_file(pkg::pkg_cache_t& cache, std::string_view path);

}  // namespace zendro::app
