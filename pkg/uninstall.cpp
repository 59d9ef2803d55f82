#include "pkg/uninstall.h"

#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "app/options.h"
#include "pkg/catalogs.h"
#include "pkg/identity_index.h"
#include "pkg/list_files.h"
#include "pkg/package_folder.h"
#include "pkg/references.h"
#include "pkg/requests.h"

namespace zendro::pkg {
namespace {

using identity_set_t = std::set<name_semver_t>;

std::vector<name_semver_t> identities_of(const package_map_t& packages) {
  std::vector<name_semver_t> identities;
  identities.reserve(packages.size());
  for (const package_t& package : packages) identities.push_back(package.identity);
  return identities;
}

// Adds the installed packages that each filter selects.
void select(core_context_t& context, const std::vector<std::string>& filters,
            const std::vector<name_semver_t>& installed, const identity_index& index,
            identity_set_t& removal) {
  for (const std::string& filter : filters) {
    const std::vector<std::size_t> selected = index.find(parse_identity(filter));
    for (const std::size_t position : selected) removal.insert(installed[position]);
    if (selected.empty()) {
      context.log(msg::Code::log_pkg_not_installed_ignored, msg::kLevelProgress,
                  {context.pkgtype(), text_argument(L"pkg", filter)});
    }
  }
}

void add_references(core_context_t& context, const pkgs_available_t& available,
                    const pkgs_available_t& installed, identity_set_t& removal) {
  for (const name_semver_t& reference : collect_references(removal, available)) {
    if (const package_t* found = find_best(installed.packages(), reference)) {
      removal.insert(found->identity);
    } else {
      context.log(msg::Code::log_pkg_not_available_ignored, msg::kLevelProgress,
                  {context.pkgtype(), pkg_argument(reference)});
    }
  }
}

// Finds which packages of a removal set are referenced by packages that stay.
class reference_keeper {
 public:
  explicit reference_keeper(const identity_set_t& removal)
      : removal_(removal.begin(), removal.end()),
        index_(removal_),
        referrers_(removal_.size(), nullptr) {}

  /// Notes `package` as one that stays. Of several that reference a package the first one counts,
  /// so a reference text that has been seen before has nothing new to say.
  void note(const package_t& package) {
    const std::vector<std::string_view> references =
        read_metadata(package, [](const meta_t& meta) { return meta.references(); });
    for (const std::string_view text : references) {
      if (!seen_.insert(text).second) continue;
      for (const std::size_t position : index_.find(parse_identity(text))) {
        if (referrers_[position] != nullptr) continue;
        referrers_[position] = &package;
        found_.insert(position);
      }
    }
  }

  /// Takes the next package that has to stay, in package order, and who references it.
  std::optional<std::pair<name_semver_t, const package_t*>> take() {
    if (found_.empty()) return std::nullopt;
    const std::size_t position = *found_.begin();
    found_.erase(found_.begin());
    return std::pair(removal_[position], referrers_[position]);
  }

 private:
  std::vector<name_semver_t> removal_;
  identity_index index_;
  std::vector<const package_t*> referrers_;
  std::set<std::size_t> found_;
  std::unordered_set<std::string_view> seen_;
};

// Drops what remaining packages reference from the removal set. A package that is dropped remains,
// so what it references stays as well.
void keep_referenced(core_context_t& context, const pkgs_available_t& installed,
                     identity_set_t& removal) {
  reference_keeper keeper(removal);
  for (const package_t& package : installed.packages()) {
    if (!removal.contains(package.identity)) keeper.note(package);
  }
  while (const auto kept = keeper.take()) {
    const auto& [identity, referrer] = *kept;
    context.log(msg::Code::log_pkg_referenced_ignored, msg::kLevelProgress,
                {context.pkgtype(), pkg_argument(identity),
                 text_argument(L"reference", to_string(referrer->identity))});
    removal.erase(identity);
    if (const package_t* entry = find_exact(installed.packages(), identity)) keeper.note(*entry);
  }
}

// The folders to delete. None is touched before all are known to be safe, and one that a remaining
// package lives in as well is left alone.
class folder_removal {
 public:
  folder_removal(core_context_t& context, const pkgs_available_t& installed,
                 const identity_set_t& removal)
      : context_(context) {
    for (const package_t& package : installed.packages()) {
      package_folder_t folder = read_metadata(
          package, [&context](const meta_t& meta) { return package_folder_t(context, meta); });
      if (removal.contains(package.identity)) {
        folders_.push_back(std::move(folder));
      } else {
        used_.insert(folder.key());
      }
    }
  }

  bool are_safe() {
    for (const package_folder_t& folder : folders_) {
      std::string cause;
      if (!folder.is_safe(cause)) return fail(folder, cause);
    }
    return true;
  }

  bool run() {
    for (const package_folder_t& folder : folders_) {
      if (used_.contains(folder.key())) {
        context_.log(msg::Code::log_delete_folder_ignored, msg::kLevelProgress,
                     {path_argument(folder.path())});
        continue;
      }
      framework::IoError error;
      if (!folder.remove(context_, error)) return fail(folder, error.text);
    }
    return true;
  }

 private:
  bool fail(const package_folder_t& folder, std::string_view cause) {
    return context_.fail(msg::Code::delete_pkg_folder,
                         {context_.pkgtype(), path_argument(folder.path())}, cause);
  }

  core_context_t& context_;
  std::vector<package_folder_t> folders_;
  std::unordered_set<std::string> used_;
};

}  // namespace

bool uninstall(core_context_t& context, const std::vector<std::string>& filters) {
  if (!context.is_initialised()) {
    return context.fail(msg::Code::not_initialized, {context.pkgtype()});
  }
  std::optional<pkgs_available_t> installed = load_installed(context);
  if (!installed) return false;
  const filters_t sorted = sort_filters(context, filters);
  const std::vector<name_semver_t> identities = identities_of(installed->packages());
  const identity_index index(identities);
  identity_set_t removal;
  select(context, sorted.names, identities, index, removal);
  std::vector<std::string> provided;
  if (!read_package_files(context, sorted, provided)) return false;
  select(context, provided, identities, index, removal);
  if (removal.empty()) {
    return context.fail(msg::Code::no_pkgs_to_remove, {context.pkgtypes()});
  }

  const std::optional<pkgs_available_t> available = load_available(context);
  if (!available) return false;
  if (!framework::to_bool(app::get_keep_references(&context.options()))) {
    add_references(context, *available, *installed, removal);
  }
  if (!uninstall_pkgs(context, std::move(removal), *available, *installed)) return false;
  if (!update_catalogs(context)) {
    return context.fail(msg::Code::update_cache_catalog, {context.pkgtype()});
  }
  return true;
}

bool uninstall_pkgs(core_context_t& context, identity_set_t removal,
                    const pkgs_available_t& available, pkgs_available_t& installed) {
  keep_referenced(context, installed, removal);
  if (removal.empty()) {
    return context.fail(msg::Code::no_pkgs_to_remove, {context.pkgtypes()});
  }
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

}  // namespace zendro::pkg
