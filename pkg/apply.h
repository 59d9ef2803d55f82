// Applying what the window wants: an uninstall and an install as one operation.
#pragma once

#include <span>
#include <string>
#include <utility>
#include <vector>

#include "pkg/core_context.h"

namespace zendro::pkg {

/// What is done with the pairs that carry a code.
inline constexpr int kActionInstall = 0;
inline constexpr int kActionUninstall = 1;

/// A filter, and what to do with what it chooses.
using filter_action = std::pair<std::string, int>;

/// The filters with this code, in their order.
std::vector<std::string> filters_of(std::span<const filter_action> pairs, int action);

/// Makes the plan of the pairs, whose filters are full identities. Reports the first thing that
/// cannot be done and returns false while nothing has been touched. Otherwise `staying` receives
/// the installed packages that no pair wants to be uninstalled.
bool plan_changes(core_context& context, std::span<const filter_action> pairs,
                  std::vector<std::string>& staying);

}  // namespace zendro::pkg
