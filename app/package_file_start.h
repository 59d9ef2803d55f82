// What the program does when it was started with a package file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "packages_ui/selection/preselection.h"
#include "packages_ui/selection/start_progress.h"
#include "pkg/cache.h"

namespace zendro::app {

struct PackageFileStart {
  /// What the file provides. Without it the dialog is not opened.
  std::optional<packages_ui::Preselection> preselection;
  /// Why there is no preselection. Empty where the user stopped the wait: then nothing is shown.
  std::wstring box_text;
};

/// Takes over the package file into the cache. A cache that has no list of available packages yet
/// asks the store for one first. The cache's sinks are used meanwhile and empty afterwards. `show`
/// is called on the calling thread.
PackageFileStart start_with_package_file(pkg::pkg_cache_t& cache, std::string_view path,
                                         const packages_ui::ShowStart& show);

}  // namespace zendro::app
