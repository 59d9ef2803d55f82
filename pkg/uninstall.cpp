#include "pkg/uninstall.h"

#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "app/options/options.h"
#include "pkg/catalogs.h"
#include "pkg/filters.h"
#include "pkg/folder_owners.h"
#include "pkg/identity_index.h"
#include "pkg/list_files.h"
#include "pkg/plan.h"
#include "pkg/references.h"

namespace zendro::pkg {
namespace {

using identity_set = std::set<name_semver_t>;

std::vector<name_semver_t> identities_of(const package_map& packages) {
  std::vector<name_semver_t> identities;
  identities.reserve(packages.size());
  for (const package_t& package : packages) identities.push_back(package.identity);
  return identities;
}

// Adds the installed packages that each filter selects.
void select(core_context& context, const std::vector<std::string>& filters,
            const std::vector<name_semver_t>& installed, identity_index& index,
            identity_set& removal) {
  for (const std::string& filter : filters) {
    const name_semver_t key = parse_identity(filter);
    for (const std::size_t position : index.take(key)) removal.insert(installed[position]);
    if (!index.find_any(key)) {
      context.log(msg::Code::log_pkg_not_installed_ignored, msg::kLevelProgress,
                  {context.pkgtype(), text_argument(L"pkg", filter)});
    }
  }
}

void add_references(core_context& context, const pkgs_available_t& available,
                    const pkgs_available_t& installed, identity_set& removal) {
  for (const name_semver_t& reference : collect_references(removal, available)) {
    if (const package_t* found = find_best(installed.packages(), reference)) {
      removal.insert(found->identity);
    } else {
      context.log(msg::Code::log_pkg_not_available_ignored, msg::kLevelProgress,
                  {context.pkgtype(), pkg_argument(reference)});
    }
  }
}

// Takes out what is to stay, whatever has selected it.
void keep_listed(core_context& context, identity_set& removal) {
  const json::value kept = app::get_uninstall_keep(&context.options());
  if (kept.is_null()) return;
  for (const json::value& identity : framework::as_array(kept)) {
    removal.erase(parse_identity(framework::as_string(identity)));
  }
}

// Reads the references of installed packages. One that cannot be read holds nothing.
metadata_texts installed_texts(core_context& context) {
  return metadata_texts([&context](const package_t& package, const framework::JsonError& error) {
    warn_metadata(context, metadata_error(package.identity, error),
                  "It is taken to need no other package.");
  });
}

// Says which packages stay because others reference them.
void log_kept(core_context& context, const std::vector<kept_package_t>& kept) {
  for (const auto& [package, referrer] : kept) {
    context.log(msg::Code::log_pkg_referenced_ignored, msg::kLevelProgress,
                {context.pkgtype(), pkg_argument(package->identity),
                 text_argument(L"reference", to_string(referrer->identity))});
  }
}

std::vector<const package_t*> entries_of(const package_map& packages,
                                         const identity_set& identities) {
  std::vector<const package_t*> entries;
  for (const name_semver_t& identity : identities) {
    if (const package_t* entry = find_exact(packages, identity)) entries.push_back(entry);
  }
  return entries;
}

// The folders to delete. None is touched before all are known to be safe, and one that a remaining
// package lives in as well is left alone.
class folder_removal {
 public:
  folder_removal(core_context& context, const pkgs_available_t& installed,
                 const identity_set& removal)
      : context_(context), owners_(context, installed, removal) {
    for (const package_t* package : entries_of(installed.packages(), removal)) {
      try {
        folders_.push_back(read_metadata(
            *package, [&context](const meta_t& meta) { return package_folder(context, meta); }));
      } catch (const metadata_error& error) {
        // A package whose folder nobody can name can still be forgotten.
        unnamed_.push_back(error);
      }
    }
  }

  bool are_safe() {
    for (const package_folder& folder : folders_) {
      const framework::Result<void> checked = folder.check();
      if (!checked) return fail(folder, checked.error().text);
      const tl::expected<bool, std::string> used = owners_.is_used(folder);
      if (!used) return fail(folder, used.error());
    }
    return true;
  }

  bool run() {
    for (const metadata_error& error : unnamed_) {
      warn_metadata(context_, error, "Nothing of the package is deleted.");
    }
    for (const package_folder& folder : folders_) {
      if (owners_.is_used(folder) == true) {
        context_.log(msg::Code::log_delete_folder_ignored, msg::kLevelProgress,
                     {path_argument(folder.path())});
        continue;
      }
      framework::IoError error;
      const framework::Result<void> removed = folder.remove(context_);
      if (!removed) return fail(folder, removed.error().text);
    }
    return true;
  }

 private:
  bool fail(const package_folder& folder, std::string_view cause) {
    return context_.fail(msg::Code::delete_pkg_folder,
                         {context_.pkgtype(), path_argument(folder.path())}, cause);
  }

  core_context& context_;
  folder_owners owners_;
  std::vector<package_folder> folders_;
  std::vector<metadata_error> unnamed_;
};

// Deletes the folders of packages that nothing references any more, and takes them off the list.
bool remove(core_context& context, const identity_set& removal, const pkgs_available_t& available,
            pkgs_available_t& installed) {
  for (const name_semver_t& identity : removal) {
    if (available.find_entry(identity) == nullptr) {
      return context.fail(msg::Code::inst_pkg_not_available,
                          {pkg_argument(identity), context.pkgtype()});
    }
  }
  folder_removal folders(context, installed, removal);
  if (!folders.are_safe()) return false;
  context.log(msg::Code::log_about_to_uninstall, msg::kLevelProgress, {pkgs_argument(removal)});
  if (!folders.run()) return false;

  const std::vector<name_semver_t> removed(removal.begin(), removal.end());
  installed.remove(removed);
  return write_installed(context, installed);
}

}  // namespace

bool uninstall(core_context& context, const std::vector<std::string>& filters) {
  if (!context.is_initialised()) {
    return context.fail(msg::Code::not_initialized, {context.pkgtype()});
  }
  std::optional<pkgs_available_t> installed = load_installed(context);
  if (!installed) return false;
  const filters_t sorted = sort_filters(context, filters);
  const std::vector<name_semver_t> identities = identities_of(installed->packages());
  identity_index index(identities);
  identity_set removal;
  select(context, sorted.names, identities, index, removal);
  std::vector<std::string> provided;
  if (!read_package_files(context, sorted, provided)) return false;
  select(context, provided, identities, index, removal);
  if (removal.empty()) {
    return context.fail(msg::Code::no_pkgs_to_remove, {context.pkgtypes()});
  }

  const std::optional<pkgs_available_t> available = load_available(context);
  if (!available) return false;
  const identity_set asked = removal;
  if (!framework::to_bool(app::get_keep_references(&context.options()))) {
    add_references(context, *available, *installed, removal);
  }
  keep_listed(context, removal);
  if (!uninstall_pkgs(context, removal, asked, *available, *installed)) return false;
  if (!update_catalogs(context)) {
    return context.fail(msg::Code::update_cache_catalog, {context.pkgtype()});
  }
  return true;
}

bool uninstall_pkgs(core_context& context, const identity_set& removal, const identity_set& asked,
                    const pkgs_available_t& available, pkgs_available_t& installed) {
  removal_plan_t planned =
      plan_removal(all_of(installed.packages()), entries_of(installed.packages(), removal),
                   installed_texts(context));
  plan_t plan;
  plan.removed = std::move(planned.removed);
  plan.kept = std::move(planned.kept);
  for (const package_t* package : plan.removed) {
    if (!asked.contains(package->identity)) plan.unasked.insert(package->identity);
  }
  if (!context.agree(plan)) return false;
  log_kept(context, plan.kept);
  if (plan.removed.empty()) {
    return context.fail(msg::Code::no_pkgs_to_remove, {context.pkgtypes()});
  }
  return remove(context, identities_of(plan.removed), available, installed);
}

bool uninstall_replaced(core_context& context, const level_replacements& levels,
                        const pkgs_available_t& available, pkgs_available_t& installed) {
  std::vector<const package_t*> old_levels;
  level_successors new_levels;
  for (const auto& [identity, versions] : levels) {
    const package_t* level = find_exact(installed.packages(), identity);
    if (level == nullptr) continue;
    old_levels.push_back(level);
    new_levels[level] = versions;
  }
  const removal_plan_t plan =
      plan_removal(all_of(installed.packages()), old_levels, installed_texts(context), new_levels);
  log_kept(context, plan.kept);
  return plan.removed.empty() || remove(context, identities_of(plan.removed), available, installed);
}

}  // namespace zendro::pkg
