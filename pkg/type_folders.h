// The folders below the install root that hold the packages of each type, and the guard that keeps
// packages out of caches.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/system/folder.h"
#include "pkg/opened_folder.h"
#include "pkg/root_folder.h"

namespace zendro::pkg {

/// The file of the install root that is locked while packages come or go in a folder that several
/// managers share. No type has its name.
inline constexpr std::string_view kSharedLock = "shared.lock";

/// Whether the word is that of a package type, in upper or lower case. Its folder then belongs to
/// the manager of that type alone.
bool is_package_type(std::string_view word);

/// Reaches `<install root><type>/` for one operation. The folder of the type that was asked for
/// last is walked to once and stays open, so that thousands of packages cost a step each.
class type_folders {
 public:
  type_folders() = default;
  /// The paths end with a separator, or are empty.
  type_folders(std::string install_root, std::string cache_root);

  /// The install root, with a trailing separator.
  [[nodiscard]] const std::string& install_root() const { return install_root_; }
  root_folder& root() { return root_; }
  /// Where the folder of a type is, with a trailing separator.
  [[nodiscard]] std::string path_of(std::string_view type) const;

  /// Whether `name` in the folder of a type is a cache root of any package type, holds one or lies
  /// in one. Says nothing of where a link leads; whoever opens the folder follows none.
  [[nodiscard]] bool touches_cache(std::string_view type, std::string_view name);

  /// Opens the folder of a type. What is returned lives until another type is asked for.
  borrowed_folder open(std::string_view type);
  /// Opens the folder, made with its parents where it is missing; so it is never absent.
  borrowed_folder create(std::string_view type);

 private:
  void select(std::string_view type);
  borrowed_folder keep(opened_folder folder);
  [[nodiscard]] bool touches_cache(const std::string& folder);

  std::string install_root_;
  std::string cache_root_;
  root_folder root_;
  std::vector<std::string> cache_roots_;  ///< comparable; found out when first asked for
  std::string type_;                      ///< the type that the following belongs to
  bool near_cache_ = true;                ///< whether its folder touches a cache
  std::unique_ptr<framework::Folder> folder_;
};

}  // namespace zendro::pkg
