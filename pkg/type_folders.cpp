#include "pkg/type_folders.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "app/options/options.h"
#include "app/options/package_types.h"
#include "framework/system/files.h"
#include "framework/text/ascii.h"

namespace zendro::pkg {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;

// Comparable form of a folder: resolved as far as it exists, ASCII letters in lower case, since
// some file systems do not tell them apart on any system, and with a trailing separator.
std::string comparable(const std::string& folder) {
  const fs::path resolved = framework::resolved_path(framework::path_from_utf8(folder));
  return framework::comparable_name(
      framework::ascii_lower(framework::path_to_utf8(resolved / fs::path())));
}

}  // namespace

bool is_package_type(std::string_view word) {
  return !app::package_type(framework::ascii_lower(word)).word.empty();
}

type_folders::type_folders(std::string install_root, std::string cache_root)
    : install_root_(std::move(install_root)),
      cache_root_(std::move(cache_root)),
      root_(install_root_) {}

std::string type_folders::path_of(std::string_view type) const {
  std::string path = install_root_;
  path += type;
  path += framework::kPathSeparator;
  return path;
}

bool type_folders::touches_cache(std::string_view type, std::string_view name) {
  select(type);
  // An entry of a folder that has nothing to do with a cache has nothing to do with one either.
  return near_cache_ && touches_cache(path_of(type) + std::string(name));
}

borrowed_folder type_folders::open(std::string_view type) {
  select(type);
  if (folder_) return folder_.get();
  const borrowed_folder root = root_.open();
  return root ? keep(open_in(**root, type)) : root;
}

borrowed_folder type_folders::create(std::string_view type) {
  select(type);
  if (folder_) return folder_.get();
  const borrowed_folder root = root_.create();
  return root ? keep(create_in(**root, type)) : root;
}

borrowed_folder type_folders::keep(opened_folder folder) {
  if (!folder) return tl::unexpected(folder.error());
  folder_ = std::move(*folder);
  return folder_.get();
}

void type_folders::select(std::string_view type) {
  if (type == type_) return;
  near_cache_ = touches_cache(path_of(type));
  folder_.reset();
  type_ = type;
}

bool type_folders::touches_cache(const std::string& folder) {
  if (cache_roots_.empty()) {
    if (!cache_root_.empty()) cache_roots_.push_back(comparable(cache_root_));
    for (const app::PackageType& type : app::package_types()) {
      json::object defaults;
      app::set_type(defaults, type.word);
      const json::value root = app::get_cache_root(&defaults);
      if (root.is_string()) {
        cache_roots_.push_back(comparable(std::string(framework::as_string(root))));
      }
    }
  }
  const std::string own = comparable(folder);
  return std::any_of(cache_roots_.begin(), cache_roots_.end(), [&own](const std::string& root) {
    return own.starts_with(root) || root.starts_with(own);
  });
}

}  // namespace zendro::pkg
