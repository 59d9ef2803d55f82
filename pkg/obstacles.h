// What stands in the way of a plan, as the messages of an operation.
#pragma once

#include "pkg/core_context.h"
#include "pkg/plan.h"

namespace zendro::pkg {

// Each reports the first obstacle of its kind and returns false; true where there is none.

/// References that nothing fulfils: "pkg_not_available".
bool check_missing(core_context& context, const std::vector<name_semver_t>& missing);
/// "pkg_conflict_installed" or "pkg_conflict".
bool check_conflicts(core_context& context, const std::vector<conflict_t>& conflicts);
/// Removals of what no list tells of: "inst_pkg_not_available".
bool check_unlisted(core_context& context, const std::vector<const package_t*>& unlisted);

}  // namespace zendro::pkg
