// Installing packages.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Installs what the filters choose, with everything that it references. Refuses the whole request
/// where a package is unknown or conflicts. Older patch levels of what is installed are replaced;
/// other release lines stay side by side. False after a reported failure; nothing is rolled back.
bool install(core_context& context, const std::vector<std::string>& filters);

/// The body: `requests` are identities of `available`. `known` has what is replaced; a list of its
/// own where `available` is only a choice of what there is.
bool install_pkgs(core_context& context, const std::set<name_semver_t>& requests,
                  const pkgs_available_t& available, const pkgs_available_t& known);

}  // namespace zendro::pkg
