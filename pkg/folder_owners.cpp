#include "pkg/folder_owners.h"

#include <mutex>
#include <utility>

#include "app/options/options.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/text/utf8.h"
#include "pkg/list_files.h"
#include "pkg/operation_turn.h"
#include "pkg/root_folder.h"

namespace zendro::pkg {

bool folder_owners::owner_t::operator==(const owner_t& other) const {
  return identity.name == other.identity.name && manager == other.manager;
}

folder_owners::folder_owners(core_context& context, const pkgs_available_t& installed,
                             const std::set<name_semver_t>& leaving)
    : context_(context) {
  for (const package_t& package : installed.packages()) {
    if (!leaving.contains(package.identity)) add_installed(package, context.type());
  }
}

bool folder_owners::check(const package_t& package) {
  const package_folder folder(context_, package.meta);
  const framework::Result<void> safe = folder.check();
  const checked claimed = safe ? claim(package, folder) : tl::unexpected(safe.error().text);
  if (claimed) return true;
  return context_.fail(msg::Code::create_folder, {path_argument(folder.path())}, claimed.error());
}

tl::expected<bool, std::string> folder_owners::is_used(const package_folder& folder) {
  if (folder.is_shared() && !know_other_managers()) {
    return tl::unexpected(other_managers_->error());
  }
  return owners_.contains(folder.key());
}

folder_owners::checked folder_owners::claim(const package_t& package,
                                            const package_folder& folder) {
  if (folder.is_shared() && !know_other_managers()) return *other_managers_;
  const owner_t claimant{package.identity, context_.type(), bears(folder, package.identity)};
  if (!claimant.has_its_name) {
    const package_t* keeper = keeper_of(folder);
    if (keeper != nullptr && keeper->identity.name != package.identity.name) {
      return tl::unexpected("The folder is that of " + to_string(keeper->identity) + ".");
    }
  }
  const owner_t& owner = owners_.try_emplace(folder.key(), claimant).first->second;
  if (owner == claimant) return {};
  std::string cause = "The folder is that of " + to_string(owner.identity);
  if (owner.manager != claimant.manager) {
    cause += " (" + framework::to_utf8(app::package_type(owner.manager).label) + ")";
  }
  return tl::unexpected(cause + ".");
}

bool folder_owners::bears(const package_folder& folder, const name_semver_t& identity) {
  return framework::comparable_name(folder.name()) ==
         framework::comparable_name(to_string(identity));
}

// Of several owners the one whose identity the folder bears counts, else the first.
void folder_owners::add_installed(const package_t& package, std::string_view manager) {
  try {
    const package_folder folder(context_, package.meta);
    if (manager != context_.type() && !folder.is_shared()) return;
    owner_t owner{package.identity, std::string(manager), bears(folder, package.identity)};
    last_ = owners_.try_emplace(last_, folder.key(), owner);
    if (owner.has_its_name && !last_->second.has_its_name) last_->second = std::move(owner);
  } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch)
    // A folder that nobody can name is in nobody's way.
  }
}

// The known version whose identity the folder bears, if that is where it lives.
const package_t* folder_owners::keeper_of(const package_folder& folder) {
  if (known_.empty()) {
    auto last = known_.end();
    for (const package_map* list : known_lists_) {
      for (const package_t& package : *list) {
        last = known_.try_emplace(last, framework::comparable_name(to_string(package.identity)),
                                  &package);
      }
    }
  }
  const auto found = known_.find(framework::comparable_name(folder.name()));
  if (found == known_.end()) return nullptr;
  const package_t& keeper = *found->second;
  try {
    const std::string_view name = keeper.meta.pkg_installdir();
    const bool lives_there = framework::comparable_name(keeper.meta.type()) ==
                                 framework::comparable_name(folder.type()) &&
                             (name.empty() || framework::comparable_name(name) ==
                                                  framework::comparable_name(folder.name()));
    return lives_there ? &keeper : nullptr;
  } catch (const framework::JsonError&) {
    return nullptr;
  }
}

const folder_owners::checked& folder_owners::know_other_managers() {
  if (!other_managers_) {
    other_managers_.emplace();
    *other_managers_ = read_other_managers();
  }
  return *other_managers_;
}

folder_owners::checked folder_owners::read_other_managers() {
  const borrowed_folder root = context_.install_folders().root().create();
  if (!root) return tl::unexpected(root.error().cause().text);
  framework::TakenLock lock = framework::LockFile::acquire(**root, kSharedLock, holder_note(), {});
  if (!lock) return tl::unexpected(lock.error().cause.text);
  shared_lock_ = std::move(*lock);
  for (const app::PackageType& type : app::package_types()) {
    if (type.word == context_.type()) continue;
    if (checked read = read_manager(type); !read) return read;
  }
  return {};
}

// Where the list of another manager may be: where the options put it, and where it is by default
// below this install root.
folder_owners::checked folder_owners::read_manager(const app::PackageType& type) {
  json::object options = context_.options();
  app::set_type(options, type.word);
  std::mutex unused;
  core_context other(type.word, options, {}, unused);
  const std::string name(framework::as_string(app::get_pkgs_installed_name(&options)));
  root_folder by_default(context_.install_folders().path_of(type.cache_folder),
                         context_.install_folders().install_root());
  for (root_folder* root : {&other.cache_folder(), &by_default}) {
    if (root->path() == context_.cache_folder().path()) continue;
    const borrowed_folder folder = root->open();
    if (!folder && folder.error().is_absent()) continue;
    if (!folder) return tl::unexpected(folder.error().cause().text);
    if ((*folder)->kind_of(name) == framework::EntryKind::absent) continue;
    const read_list_t list = read_list(*root, name);
    if (!list) return tl::unexpected(list.error());
    for (const package_t& package : list->packages()) add_installed(package, type.word);
  }
  return {};
}

}  // namespace zendro::pkg
