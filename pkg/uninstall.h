// Removing packages.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Removes every installed package whose name contains that of a filter (without regard to case)
/// and whose version the filter matches, with what it references unless the option says to keep
/// references. What a remaining package references stays. False after a reported failure.
bool uninstall(core_context_t& context, const std::vector<std::string>& filters);

/// The body: removes identities of `installed`. The caller updates the catalogs.
bool uninstall_pkgs(core_context_t& context, std::set<name_semver_t> removal,
                    const pkgs_available_t& available, pkgs_available_t& installed);

}  // namespace zendro::pkg
