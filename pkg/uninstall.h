// Removing packages.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Removes every installed package whose name contains that of a filter (without regard to case)
/// and whose version the filter matches, with what it references unless the option says to keep
/// references. What a remaining package references stays, and so does, whatever selects it, what
/// the option of packages to keep names. False after a reported failure.
bool uninstall(core_context& context, const std::vector<std::string>& filters);

/// The body: removes identities of `installed`. The caller updates the catalogs.
/// What is not in `asked` goes along because something there references it.
bool uninstall_pkgs(core_context& context, const std::set<name_semver_t>& removal,
                    const std::set<name_semver_t>& asked, const pkgs_available_t& available,
                    pkgs_available_t& installed);

/// Installed patch levels, each with the levels that are to take its place.
using level_replacements = std::map<name_semver_t, std::vector<semver_t>>;

/// The same for patch levels whose new levels are installed by now. A level stays, beside the new
/// one, while a package references it by a text that no new level fulfils; that is no failure.
bool uninstall_replaced(core_context& context, const level_replacements& levels,
                        const pkgs_available_t& available, pkgs_available_t& installed);

}  // namespace zendro::pkg
