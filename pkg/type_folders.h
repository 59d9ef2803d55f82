// The folders below the install root that hold the packages of each type, and the guard that keeps
// packages out of caches.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/folder.h"
#include "framework/io.h"

namespace zendro::pkg {

/// Reaches `<install root><type>/` for one operation. The folder of the type that was asked for
/// last is walked to once and stays open, so that thousands of packages cost a step each.
class type_folders_t {
 public:
  type_folders_t() = default;
  /// The paths end with a separator, or are empty.
  type_folders_t(std::string install_root, std::string cache_root);

  /// Where the folder of a type is, with a trailing separator.
  [[nodiscard]] std::string path_of(std::string_view type) const;

  /// Whether `name` in the folder of a type is a cache root of any package type, holds one or lies
  /// in one. Of a name that is a link nothing is known.
  [[nodiscard]] bool touches_cache(std::string_view type, std::string_view name);

  /// Opens the folder of a type if it exists: null without an error when it does not. What is
  /// returned lives until another type is asked for.
  const framework::Folder* open(std::string_view type, framework::IoError& error);
  /// Creates the folder with its parents and opens it; null, with the cause, on failure.
  const framework::Folder* create(std::string_view type, framework::IoError& error);

 private:
  void select(std::string_view type);
  [[nodiscard]] bool touches_cache(const std::string& folder);

  std::string install_root_;
  std::string cache_root_;
  std::vector<std::string> cache_roots_;  ///< comparable; found out when first asked for
  std::string type_;                      ///< the type that the following belongs to
  bool near_cache_ = true;                ///< whether its folder touches a cache
  std::unique_ptr<framework::Folder> folder_;
};

}  // namespace zendro::pkg
