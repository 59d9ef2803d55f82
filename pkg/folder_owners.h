// Which package owns which folder. Installs, package files and uninstalls all ask here.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

#include "app/options/package_types.h"
#include "framework/system/lock_file.h"
#include "pkg/core_context.h"
#include "pkg/package_folder.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// A folder belongs to the versions of one package name of one manager. In this order:
/// - to those that are installed in it,
/// - to the known version that the folder is named after, if that version names this folder or
/// none,
/// - to the first package that asks for it.
///
/// A folder under a "_type" that is no package type may be used by all managers of the machine. Who
/// is installed there is read from the lists of all of them; where one cannot be read, nothing may
/// change there. From the first such question until this object ends it holds a lock in the install
/// root, so that no other manager changes the answers meanwhile.
class folder_owners {
 public:
  /// The packages of the installed list own their folders, but for those that are `leaving`. The
  /// context and the lists outlive the object.
  folder_owners(core_context& context, const pkgs_available_t& installed,
                const std::set<name_semver_t>& leaving = {});

  /// Versions that are known, of the list of available packages or of a package file.
  void keep_for(const package_map& packages) { known_lists_.push_back(&packages); }

  /// Gives the folder that the metadata names to the package. Where it leads elsewhere or is
  /// another's, reports "create_folder" with the cause and returns false. Throws JsonError.
  bool check(const package_t& package);

  /// Whether a package that is installed and stays lives in the folder, or why that cannot be found
  /// out.
  tl::expected<bool, std::string> is_used(const package_folder& folder);

 private:
  /// Nothing, or why not.
  using checked = tl::expected<void, std::string>;

  struct owner_t {
    name_semver_t identity;
    std::string manager;  ///< its package type
    bool has_its_name;    ///< the folder bears its identity
    bool operator==(const owner_t& other) const;
  };

  checked claim(const package_t& package, const package_folder& folder);
  static bool bears(const package_folder& folder, const name_semver_t& identity);
  void add_installed(const package_t& package, std::string_view manager);
  const checked& know_other_managers();
  checked read_other_managers();
  checked read_manager(const app::PackageType& type);
  const package_t* keeper_of(const package_folder& folder);

  core_context& context_;
  std::map<std::string, owner_t> owners_;  ///< by the folder's key
  /// The one added last: in a list the next one's place is mostly beside it.
  std::map<std::string, owner_t>::iterator last_ = owners_.end();
  std::vector<const package_map*> known_lists_;
  std::map<std::string, const package_t*> known_;  ///< by comparable identity, made when needed
  std::optional<checked> other_managers_;          ///< once they have been read
  std::unique_ptr<framework::LockFile> shared_lock_;
};

}  // namespace zendro::pkg
