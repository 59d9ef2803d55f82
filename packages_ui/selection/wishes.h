// What a user wants changed, by identities, which stay the same when the packages are loaded again.
#pragma once

#include <vector>

#include "pkg/name_semver.h"

namespace zendro::packages_ui {

struct Wishes {
  /// A version to be installed, and the versions it was ticked for: none if the user ticked it.
  struct Tick {
    pkg::name_semver_t version;
    std::vector<pkg::name_semver_t> referenced_by;
  };
  std::vector<Tick> ticked;
  std::vector<pkg::name_semver_t> unticked;  ///< installed versions to be removed
  std::vector<pkg::name_semver_t> patched;   ///< installed versions whose patch is chosen
};

}  // namespace zendro::packages_ui
