#include "pkg/type_folders.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "app/options.h"
#include "framework/files.h"
#include "pkg/ascii_case.h"

namespace zendro::pkg {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using framework::EntryKind;
using framework::Folder;
using framework::IoError;

// Comparable form of a folder: resolved as far as it exists, ASCII letters in lower case, since
// some file systems do not tell them apart on any system, and with a trailing separator.
std::string comparable(const std::string& folder) {
  const fs::path resolved = framework::resolved_path(framework::path_from_utf8(folder));
  return framework::comparable_name(ascii_lower(framework::path_to_utf8(resolved / fs::path())));
}

}  // namespace

type_folders_t::type_folders_t(std::string install_root, std::string cache_root)
    : install_root_(std::move(install_root)), cache_root_(std::move(cache_root)) {}

std::string type_folders_t::path_of(std::string_view type) const {
  std::string path = install_root_;
  path += type;
  path += framework::kPathSeparator;
  return path;
}

bool type_folders_t::touches_cache(std::string_view type, std::string_view name) {
  select(type);
  // An entry of a folder that has nothing to do with a cache has nothing to do with one either.
  return near_cache_ && touches_cache(path_of(type) + std::string(name));
}

const Folder* type_folders_t::open(std::string_view type, IoError& error) {
  select(type);
  if (folder_) return folder_.get();
  const fs::path root_path = framework::path_from_utf8(install_root_);
  if (framework::is_missing(root_path)) return nullptr;
  const std::unique_ptr<Folder> root = Folder::open(root_path, error);
  if (!root || root->kind_of(type) == EntryKind::absent) return nullptr;
  folder_ = root->open_folder(type, error);
  return folder_.get();
}

const Folder* type_folders_t::create(std::string_view type, IoError& error) {
  select(type);
  if (folder_) return folder_.get();
  const fs::path root_path = framework::path_from_utf8(install_root_);
  if (!framework::create_folders(root_path, error)) return nullptr;
  const std::unique_ptr<Folder> root = Folder::open(root_path, error);
  if (!root || !root->create_folder(type, error)) return nullptr;
  folder_ = root->open_folder(type, error);
  return folder_.get();
}

void type_folders_t::select(std::string_view type) {
  if (type == type_) return;
  near_cache_ = touches_cache(path_of(type));
  folder_.reset();
  type_ = type;
}

bool type_folders_t::touches_cache(const std::string& folder) {
  if (cache_roots_.empty()) {
    if (!cache_root_.empty()) cache_roots_.push_back(comparable(cache_root_));
    for (const std::string_view type : {"xsd", "xbrl"}) {
      json::object defaults;
      app::set_type(defaults, type);
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
