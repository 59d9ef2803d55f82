#include "pkg/install.h"

#include <optional>
#include <utility>

#include "pkg/catalogs.h"
#include "pkg/download.h"
#include "pkg/filters.h"
#include "pkg/list_files.h"
#include "pkg/obstacles.h"
#include "pkg/plan.h"
#include "pkg/request_check.h"
#include "pkg/telemetry.h"
#include "pkg/uninstall.h"

namespace zendro::pkg {
namespace {

using identity_set = std::set<name_semver_t>;

std::vector<list_position> positions_of(const package_map& packages,
                                        const identity_set& identities) {
  std::vector<list_position> positions;
  for (const name_semver_t& identity : identities) {
    if (const package_t* package = find_exact(packages, identity)) {
      positions.push_back(position_of(packages, *package));
    }
  }
  return positions;
}

// Refuses requests that reference what nothing fulfils.
bool check_references(core_context& context, const pkgs_available_t& available,
                      const std::vector<list_position>& requests) {
  const metadata_texts texts;
  const reference_table references(available.packages(), texts);
  const auto follows_all = [](const package_t&) { return false; };
  std::vector<name_semver_t> missing;
  follow_references(references, requests, follows_all, missing);
  return check_missing(context, missing);
}

void log_plan(core_context& context, const plan_t& plan) {
  if (plan.already.size() == 1) {
    context.log(msg::Code::log_pkg_installed, msg::kLevelProgress,
                {context.pkgtype(), pkg_argument(plan.already.front()->identity)});
  } else if (!plan.already.empty()) {
    context.log(msg::Code::log_pkgs_installed, msg::kLevelProgress,
                {context.pkgtypes(), pkgs_argument(identities_of(plan.already))});
  }
  if (!plan.installs.empty()) {
    context.log(msg::Code::log_about_to_install, msg::kLevelProgress,
                {pkgs_argument(identities_of(plan.installs))});
  }
  if (!plan.replaced.empty()) {
    context.log(msg::Code::log_about_to_upgrade, msg::kLevelProgress,
                {pkgs_argument(identities_of(plan.replaced))});
  }
}

bool record(core_context& context, const std::vector<request_t>& installs,
            const pkgs_available_t& available, pkgs_available_t& installed) {
  std::vector<const package_t*> added;
  for (const request_t& install : installs) added.push_back(install.package);
  installed.add(added, available);
  return write_installed(context, installed);
}

// Downloads what is to be installed and records it. Nothing is touched before all has been checked.
bool provide(core_context& context, const std::vector<request_t>& installs,
             const pkgs_available_t& available, pkgs_available_t& installed) {
  request_check check(context, available, installed);
  for (const request_t& install : installs) {
    if (!check.check(*install.package)) return false;
  }
  context.progress().begin(check.members());
  for (const request_t& install : installs) {
    if (!download_pkg(context, install.package->identity, available)) return false;
  }
  return record(context, installs, available, installed);
}

level_replacements replaced_levels(const std::vector<replacement_t>& replaced) {
  level_replacements levels;
  for (const replacement_t& replacement : replaced) {
    std::vector<semver_t>& new_levels = levels[replacement.old_level->identity];
    for (const package_t* level : replacement.new_levels) {
      new_levels.push_back(level->identity.version);
    }
  }
  return levels;
}

// Removes the levels that new ones have replaced, from the list as it is by now.
bool remove_replaced(core_context& context, const level_replacements& levels,
                     const pkgs_available_t& available) {
  if (levels.empty()) return true;
  std::optional<pkgs_available_t> installed = load_installed(context);
  return installed && uninstall_replaced(context, levels, available, *installed);
}

}  // namespace

bool install(core_context& context, const std::vector<std::string>& filters) {
  if (!context.is_initialised()) {
    return context.fail(msg::Code::not_initialized, {context.pkgtype()});
  }
  std::optional<pkgs_available_t> available = load_available(context);
  if (!available) return false;
  const filters_t sorted = sort_filters(context, filters);
  identity_set requests;
  if (!resolve_filters(context, sorted.names, *available, requests)) return false;

  std::vector<std::string> provided;
  if (!read_package_files(context, sorted, provided)) return false;
  if (!provided.empty()) {
    // The packages of the files are in the list by now.
    available = load_available(context);
    if (!available || !resolve_filters(context, provided, *available, requests)) return false;
  }
  if (requests.empty()) {
    return context.fail(msg::Code::no_pkgs_to_install, {context.pkgtypes()});
  }
  return install_pkgs(context, requests, *available, *available);
}

bool install_pkgs(core_context& context, const identity_set& requests,
                  const pkgs_available_t& available, const pkgs_available_t& known) {
  const std::vector<list_position> asked_for = positions_of(available.packages(), requests);
  if (!check_references(context, available, asked_for)) return false;
  std::optional<pkgs_available_t> installed = load_installed(context);
  if (!installed) return false;
  const planner plans(available, *installed, pass_over_metadata);
  const plan_t plan = plans.plan({{}, asked_for});
  if (!check_conflicts(context, plan.conflicts) || !context.agree(plan)) return false;

  log_plan(context, plan);
  const level_replacements replaced = replaced_levels(plan.replaced);
  if (!provide(context, plan.installs, available, *installed) ||
      !remove_replaced(context, replaced, known)) {
    return false;
  }
  if (!update_catalogs(context)) {
    return context.fail(msg::Code::update_cache_catalog, {context.pkgtype()});
  }
  send_install_telemetry(context, identities_of(plan.installs));
  return true;
}

}  // namespace zendro::pkg
