#include "pkg/install.h"

#include <optional>
#include <unordered_map>
#include <utility>

#include "pkg/catalogs.h"
#include "pkg/download.h"
#include "pkg/identity_index.h"
#include "pkg/list_files.h"
#include "pkg/package_folder.h"
#include "pkg/references.h"
#include "pkg/requests.h"
#include "pkg/telemetry.h"
#include "pkg/uninstall.h"

namespace zendro::pkg {
namespace {

using identity_set_t = std::set<name_semver_t>;

// Adds the version that each filter chooses.
bool resolve(core_context_t& context, const std::vector<std::string>& filters,
             const pkgs_available_t& available, identity_set_t& requests) {
  for (const std::string& filter : filters) {
    const package_t* found = find_best(available.packages(), parse_identity(filter));
    if (found == nullptr) {
      return context.fail(msg::Code::pkg_not_available,
                          {text_argument(L"pkg", filter), context.pkgtype()});
    }
    if (requests.insert(found->identity).second) {
      context.log(
          msg::Code::log_pkg_filter, msg::kLevelDetail,
          {text_argument(L"filter", filter), context.pkgtype(), pkg_argument(found->identity)});
    }
  }
  return true;
}

bool add_references(core_context_t& context, const pkgs_available_t& available,
                    identity_set_t& requests) {
  for (const name_semver_t& reference : collect_references(requests, available)) {
    const package_t* found = find_best(available.packages(), reference);
    if (found == nullptr) {
      return context.fail(msg::Code::pkg_not_available,
                          {pkg_argument(reference), context.pkgtype()});
    }
    requests.insert(found->identity);
  }
  return true;
}

// Refuses requests that conflict with an installed package (of exactly the name) or with another
// request (whose name contains the conflicting one, without regard to case).
bool check_conflicts(core_context_t& context, const pkgs_available_t& available,
                     const pkgs_available_t& installed, const identity_set_t& requests) {
  const identity_index index({requests.begin(), requests.end()});
  for (const name_semver_t& request : requests) {
    const package_t* entry = find_exact(available.packages(), request);
    if (entry == nullptr) continue;
    const std::vector<std::string_view> conflicts =
        read_metadata(*entry, [](const meta_t& meta) { return meta.conflicting_pkgs(); });
    for (const std::string_view text : conflicts) {
      const name_semver_t conflict = parse_identity(text);
      if (const package_t* found = find_best(installed.packages(), conflict)) {
        return context.fail(
            msg::Code::pkg_conflict_installed,
            {pkg_argument(request), text_argument(L"conflict", to_string(found->identity)),
             context.pkgtype()});
      }
      if (index.contains(conflict)) {
        return context.fail(
            msg::Code::pkg_conflict,
            {pkg_argument(request), text_argument(L"conflict", text), context.pkgtypes()});
      }
    }
  }
  return true;
}

struct plan_t {
  identity_set_t installed_already;
  identity_set_t upgrade_from;
};

// Compares the requests with what is installed of the same release line.
plan_t classify(const pkgs_available_t& installed, const identity_set_t& requests) {
  plan_t plan;
  for (const name_semver_t& request : requests) {
    name_semver_t line = request;
    line.version.patch = kAnyPart;
    const package_t* found = find_best(installed.packages(), line);
    if (found == nullptr) continue;
    if (found->identity.version.patch >= request.version.patch) {
      plan.installed_already.insert(request);
    } else {
      plan.upgrade_from.insert(found->identity);
    }
  }
  return plan;
}

void log_plan(core_context_t& context, const plan_t& plan, const identity_set_t& requests) {
  if (plan.installed_already.size() == 1) {
    context.log(msg::Code::log_pkg_installed, msg::kLevelProgress,
                {context.pkgtype(), pkg_argument(*plan.installed_already.begin())});
  } else if (!plan.installed_already.empty()) {
    context.log(msg::Code::log_pkgs_installed, msg::kLevelProgress,
                {context.pkgtypes(), pkgs_argument(plan.installed_already)});
  }
  if (!requests.empty()) {
    context.log(msg::Code::log_about_to_install, msg::kLevelProgress, {pkgs_argument(requests)});
  }
  if (!plan.upgrade_from.empty()) {
    context.log(msg::Code::log_about_to_upgrade, msg::kLevelProgress,
                {pkgs_argument(plan.upgrade_from)});
  }
}

// Refuses, while nothing is touched, what could not be carried through: metadata of the wrong
// types, folders that lead elsewhere, and folders in which a package of another name lives. Tells
// how many members there are.
class request_check {
 public:
  request_check(core_context_t& context, const pkgs_available_t& installed) : context_(context) {
    for (const package_t& package : installed.packages()) {
      const package_folder_t folder = read_metadata(
          package, [&context](const meta_t& meta) { return package_folder_t(context, meta); });
      owners_.try_emplace(folder.key(), package.identity.name);
    }
  }

  bool check(const package_t& package) {
    try {
      check_catalog_entries(package);
      if (const json::object* files = package.meta.files()) {
        for (const json::key_value_pair& file : *files) framework::as_string(file.value());
        members_ += files->size();
      }
      return check_folder(package);
    } catch (const framework::JsonError& error) {
      return fail_metadata(context_, context_.available_path(), package, error);
    }
  }

  [[nodiscard]] std::uint64_t members() const { return members_; }

 private:
  bool check_folder(const package_t& package) {
    const package_folder_t folder(context_, package.meta);
    std::string cause;
    if (folder.is_safe(cause)) {
      const std::string& owner =
          owners_.try_emplace(folder.key(), package.identity.name).first->second;
      if (owner == package.identity.name) return true;
      cause = "The folder is that of " + owner + ".";
    }
    return context_.fail(msg::Code::create_folder, {path_argument(folder.path())}, cause);
  }

  core_context_t& context_;
  std::unordered_map<std::string, std::string> owners_;  ///< folder's key to package name
  std::uint64_t members_ = 0;
};

bool record(core_context_t& context, const identity_set_t& requests,
            const pkgs_available_t& available, pkgs_available_t& installed) {
  std::vector<const package_t*> added;
  for (const name_semver_t& request : requests) {
    if (const package_t* entry = find_exact(available.packages(), request)) added.push_back(entry);
  }
  installed.add(added, available);
  return write_installed(context, installed);
}

}  // namespace

bool install(core_context_t& context, const std::vector<std::string>& filters) {
  if (!context.is_initialised()) {
    return context.fail(msg::Code::not_initialized, {context.pkgtype()});
  }
  std::optional<pkgs_available_t> available = load_available(context);
  if (!available) return false;
  const filters_t sorted = sort_filters(context, filters);
  identity_set_t requests;
  if (!resolve(context, sorted.names, *available, requests)) return false;

  std::vector<std::string> provided;
  if (!read_package_files(context, sorted, provided)) return false;
  if (!provided.empty()) {
    // The packages of the files are in the list by now.
    available = load_available(context);
    if (!available || !resolve(context, provided, *available, requests)) return false;
  }
  if (requests.empty()) {
    return context.fail(msg::Code::no_pkgs_to_install, {context.pkgtypes()});
  }
  return install_pkgs(context, std::move(requests), *available);
}

bool install_pkgs(core_context_t& context, identity_set_t requests,
                  const pkgs_available_t& available) {
  if (!add_references(context, available, requests)) return false;
  std::optional<pkgs_available_t> installed = load_installed(context);
  if (!installed) return false;
  if (!check_conflicts(context, available, *installed, requests)) return false;

  const plan_t plan = classify(*installed, requests);
  for (const name_semver_t& request : plan.installed_already) requests.erase(request);
  log_plan(context, plan, requests);
  request_check check(context, *installed);
  for (const name_semver_t& request : requests) {
    const package_t* entry = find_exact(available.packages(), request);
    if (entry != nullptr && !check.check(*entry)) return false;
  }
  context.progress().begin(check.members());
  for (const name_semver_t& request : requests) {
    if (!download_pkg(context, request, available)) return false;
  }
  if (!record(context, requests, available, *installed)) return false;
  if (!plan.upgrade_from.empty()) {
    installed = load_installed(context);
    if (!installed || !uninstall_pkgs(context, plan.upgrade_from, available, *installed)) {
      return false;
    }
  }
  if (!update_catalogs(context)) {
    return context.fail(msg::Code::update_cache_catalog, {context.pkgtype()});
  }
  send_install_telemetry(context, requests);
  return true;
}

}  // namespace zendro::pkg
