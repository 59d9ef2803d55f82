// Following references between packages.
#pragma once

#include <set>

#include "pkg/package_list.h"

namespace zendro::pkg {

/// Adds to `result` everything that `package` references, directly or through others: the version
/// that a filter of the reference's text would choose in `available`, or the reference as written
/// where there is none. What is in `result` already is not followed again, so cycles end; chains of
/// any length need no stack.
void collect_references(const name_semver_t& package, const pkgs_available_t& available,
                        std::set<name_semver_t>& result);

}  // namespace zendro::pkg
