// Following references between packages.
#pragma once

#include <set>

#include "pkg/package_list.h"

namespace zendro::pkg {

/// Everything that `packages` reference, directly or through others: the version that a filter of
/// the reference's text would choose in `available`, or the reference as written where there is
/// none. What has been reached is not followed again, so cycles end; chains of any length need no
/// stack.
std::set<name_semver_t> collect_references(const std::set<name_semver_t>& packages,
                                           const pkgs_available_t& available);

}  // namespace zendro::pkg
