// Bringing the members of a package onto the local disk.
#pragma once

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Makes every member of `package` present in its folder with the digest that `available` gives for
/// it: what is there already is proved again, the rest is downloaded. The store is asked for its
/// address at most once, and only when something has to be downloaded. Constant memory. False after
/// a reported failure; what has been written so far stays and is proved again by the next call.
bool download_pkg(core_context& context, const name_semver_t& package,
                  const pkgs_available_t& available);

}  // namespace zendro::pkg
