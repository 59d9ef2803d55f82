#include "pkg/root_folder.h"

#include <algorithm>
#include <utility>

#include "app/options/options.h"
#include "framework/system/files.h"

namespace zendro::pkg {
namespace {

namespace fs = std::filesystem;
using framework::Folder;

// The way to a folder: a place that is reached by its path, and the names below it.
struct way_t {
  fs::path start;
  std::vector<std::string> names;
};

std::vector<std::string> components(const fs::path& path) {
  std::vector<std::string> names;
  for (const fs::path& part : path.lexically_normal()) {
    if (!part.empty()) names.push_back(framework::path_to_utf8(part));
  }
  return names;
}

way_t way_to(const fs::path& path, const fs::path& holder) {
  const std::vector<std::string> names = components(path);
  const auto same = [](const std::string& a, const std::string& b) {
    return framework::comparable_name(a) == framework::comparable_name(b);
  };
  for (const fs::path& start : {framework::path_from_utf8(app::base_folder()), holder}) {
    const std::vector<std::string> above = components(start);
    if (above.empty() || !start.is_absolute()) continue;
    const auto [end, rest] =
        std::mismatch(above.begin(), above.end(), names.begin(), names.end(), same);
    if (end == above.end()) return {start, {rest, names.end()}};
  }
  return {path, {}};
}

// Opens the last folder of the way, going from each to the next with `step`.
opened_folder walk(const way_t& way,
                   opened_folder (*step)(const Folder& parent, std::string_view name)) {
  opened_folder folder = Folder::open(way.start);
  for (const std::string& name : way.names) {
    if (!folder) break;
    folder = step(**folder, name);
  }
  return folder;
}

opened_folder walk_to_existing(const way_t& way) {
  if (framework::is_missing(way.start)) return tl::unexpected(no_folder());
  return walk(way, open_in);
}

opened_folder walk_and_create(const way_t& way) {
  const framework::Result<void> created = framework::create_folders(way.start);
  if (!created) return tl::unexpected<no_folder>(created.error());
  return walk(way, create_in);
}

borrowed_folder shared(const opened_folder& folder) {
  if (!folder) return tl::unexpected(folder.error());
  return folder->get();
}

}  // namespace

root_folder::root_folder(std::string_view path, std::string_view holder)
    : path_(framework::path_from_utf8(path)), holder_(framework::path_from_utf8(holder)) {}

borrowed_folder root_folder::open() {
  if (path_.empty()) return tl::unexpected(no_folder());
  if (!opened_) opened_ = walk_to_existing(way_to(path_, holder_));
  return shared(*opened_);
}

borrowed_folder root_folder::create() {
  if (path_.empty()) return tl::unexpected(no_folder({"The folder is not known."}));
  borrowed_folder existing = open();
  if (existing || !existing.error().is_absent()) return existing;
  opened_folder created = walk_and_create(way_to(path_, holder_));
  if (!created) return tl::unexpected(created.error());
  opened_ = std::move(created);
  return shared(*opened_);
}

std::string root_folder::path() const {
  return framework::path_to_utf8(path_.has_filename() ? path_ : path_.parent_path());
}

}  // namespace zendro::pkg
