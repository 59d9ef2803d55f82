#include "store/source_files.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "framework/system/files.h"

namespace zendro::store {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kLargestFile = std::uint64_t{64} << 20;
constexpr int kLinkLimit = 16;

/// Follows the symbolic links at the end of `path` without leaving `root`; nothing unless they lead
/// to a regular file.
std::optional<fs::path> resolve_links(const fs::path& root, fs::path path) {
  for (int links = 0; fs::is_symlink(fs::symlink_status(path)); ++links) {
    if (links == kLinkLimit) {
      return std::nullopt;
    }
    const fs::path target = fs::read_symlink(path);
    path = target.is_absolute() ? root / target.relative_path() : path.parent_path() / target;
    path = path.lexically_normal();
    const fs::path inside = path.lexically_relative(root.lexically_normal());
    if (inside.empty() || *inside.begin() == "..") {
      return std::nullopt;
    }
  }
  if (!fs::is_regular_file(fs::symlink_status(path))) {
    return std::nullopt;
  }
  return path;
}

bool less_path(const SourceFile& file, std::string_view path) { return file.path < path; }

}  // namespace

std::string read_whole_file(const fs::path& path) {
  framework::Result<std::string> bytes = framework::read_file(path, kLargestFile);
  if (!bytes) {
    throw std::runtime_error(bytes.error().text);
  }
  return std::move(*bytes);
}

bool path_matches(std::string_view pattern, std::string_view path) {
  if (pattern.ends_with('/')) {
    return path.starts_with(pattern);
  }
  const auto star = pattern.find('*');
  if (star == std::string_view::npos) {
    return pattern == path;
  }
  if (!path.starts_with(pattern.substr(0, star))) {
    return false;
  }
  const std::string_view rest = pattern.substr(star + 1);
  for (std::size_t end = star; end <= path.size(); ++end) {
    if (path_matches(rest, path.substr(end))) {
      return true;
    }
    if (end < path.size() && path[end] == '/') {
      return false;
    }
  }
  return false;
}

std::vector<SourceFile> collect_files(const fs::path& root, std::string_view folder,
                                      const std::vector<std::string>& patterns) {
  const fs::path start = root / framework::path_from_utf8(folder);
  if (!fs::is_directory(start)) {
    throw std::runtime_error("no folder " + framework::path_to_utf8(start));
  }
  std::set<std::string_view> used;
  std::vector<SourceFile> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(start)) {
    const auto u8 = entry.path().lexically_relative(start).generic_u8string();
    std::string path(u8.begin(), u8.end());
    const auto pattern = std::find_if(patterns.begin(), patterns.end(),
                                      [&](const auto& each) { return path_matches(each, path); });
    if (pattern == patterns.end()) {
      continue;
    }
    if (const auto source = resolve_links(root, entry.path())) {
      used.insert(*pattern);
      files.push_back({std::move(path), read_whole_file(*source)});
    }
  }
  for (const std::string& pattern : patterns) {
    if (!used.contains(pattern)) {
      throw std::runtime_error("nothing matches " + pattern + " in " +
                               framework::path_to_utf8(start));
    }
  }
  std::sort(files.begin(), files.end(),
            [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
  return files;
}

const SourceFile* find_file(const std::vector<SourceFile>& files, std::string_view path) {
  const auto found = std::lower_bound(files.begin(), files.end(), path, less_path);
  return found != files.end() && found->path == path ? &*found : nullptr;
}

bool has_folder(const std::vector<SourceFile>& files, std::string_view path) {
  const auto found = std::lower_bound(files.begin(), files.end(), path, less_path);
  return found != files.end() && found->path.starts_with(path);
}

}  // namespace zendro::store
