#include "pkg/apply.h"

#include <algorithm>
#include <optional>

#include "pkg/list_files.h"
#include "pkg/obstacles.h"
#include "pkg/plan.h"
#include "pkg/request_check.h"

namespace zendro::pkg {
namespace {

void sort_positions(std::vector<list_position>& positions) {
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
}

// The places of what the pairs are about. A package that is not installed any more is passed over.
bool find_changes(core_context& context, std::span<const filter_action> pairs,
                  const package_map& available, const package_map& installed, changes_t& changes) {
  for (const auto& [filter, action] : pairs) {
    const name_semver_t identity = parse_identity(filter);
    if (action == kActionUninstall) {
      const package_t* package = find_exact(installed, identity);
      if (package != nullptr) changes.remove.push_back(position_of(installed, *package));
      continue;
    }
    const package_t* package = find_best(available, identity);
    if (package == nullptr) return check_missing(context, {identity});
    changes.install.push_back(position_of(available, *package));
  }
  sort_positions(changes.remove);
  sort_positions(changes.install);
  return true;
}

}  // namespace

std::vector<std::string> filters_of(std::span<const filter_action> pairs, int action) {
  std::vector<std::string> filters;
  for (const auto& [filter, code] : pairs) {
    if (code == action) filters.push_back(filter);
  }
  return filters;
}

bool plan_changes(core_context& context, std::span<const filter_action> pairs,
                  std::vector<std::string>& staying) {
  const std::optional<pkgs_available_t> available = load_available(context);
  if (!available) return false;
  const std::optional<pkgs_available_t> installed = load_installed(context);
  if (!installed) return false;
  changes_t changes;
  if (!find_changes(context, pairs, available->packages(), installed->packages(), changes)) {
    return false;
  }
  const plan_t plan = planner(*available, *installed, pass_over_metadata).plan(changes);
  if (!check_unlisted(context, plan.unlisted) || !check_missing(context, plan.missing) ||
      !check_conflicts(context, plan.conflicts)) {
    return false;
  }
  request_check check(context, *available, *installed, identities_of(plan.removed));
  for (const request_t& install : plan.installs) {
    if (!check.check(*install.package)) return false;
  }
  for (list_position place = 0; place < installed->packages().size(); ++place) {
    if (!std::binary_search(changes.remove.begin(), changes.remove.end(), place)) {
      staying.push_back(to_string(installed->packages()[place].identity));
    }
  }
  return true;
}

}  // namespace zendro::pkg
