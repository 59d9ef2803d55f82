#include "store/package_files.h"

#include <algorithm>

#include "framework/system/files.h"
#include "framework/system/system_error.h"
#include "framework/url/zip.h"
#include "pkg/local/contents.h"
#include "pkg/local/names.h"
#include "pkg/local/unpacking.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

constexpr pkg::local::limits_t kLimits;

void sort_by_path(std::vector<SourceFile>& files) {
  std::sort(files.begin(), files.end(),
            [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
}

// Takes note of a file, or says why it cannot be part of a package.
std::string refusal_of(const std::string& path, pkg::local::contents_t& contents) {
  if (!pkg::local::is_plain_path(path)) {
    return "a path that cannot be unpacked everywhere; rename it";
  }
  if (pkg::local::levels_of(path) > kLimits.levels) return "lies too deep";
  if (const auto noted = contents.add_file(path); !noted) return noted.error();
  if (contents.size() > kLimits.entries) {
    return "is one of more than " + std::to_string(kLimits.entries) + " files and folders";
  }
  return {};
}

std::string too_much() {
  return "unpacks to more than " + std::to_string(kLimits.bytes) + " bytes";
}

}  // namespace

Result<std::vector<std::string>> list_files(const fs::path& folder) {
  std::vector<std::string> paths;
  pkg::local::contents_t contents;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const fs::file_status status = entry->symlink_status(error);
    if (error) break;
    if (fs::is_directory(status)) continue;
    const std::string name = framework::path_to_utf8(entry->path());
    if (!fs::is_regular_file(status)) {
      return tl::unexpected(IoError{name + ": is a link or the like; put the file itself there"});
    }
    const auto u8 = entry->path().lexically_relative(folder).generic_u8string();
    std::string path(u8.begin(), u8.end());
    if (const std::string refusal = refusal_of(path, contents); !refusal.empty()) {
      return tl::unexpected(IoError{name + ": " + refusal});
    }
    paths.push_back(std::move(path));
  }
  if (error) {
    return tl::unexpected(framework::system_error(framework::path_to_utf8(folder), error.value()));
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

Result<std::vector<SourceFile>> read_folder(const fs::path& folder) {
  Result<std::vector<std::string>> paths = list_files(folder);
  if (!paths) return tl::unexpected(paths.error());
  std::vector<SourceFile> files;
  files.reserve(paths->size());
  std::uint64_t left = kLimits.bytes;
  for (std::string& path : *paths) {
    auto bytes = framework::read_file(folder / framework::path_from_utf8(path), left);
    if (!bytes) return tl::unexpected(bytes.error());
    left -= bytes->size();
    files.push_back({std::move(path), std::move(*bytes)});
  }
  return files;
}

Result<std::vector<SourceFile>> read_archive(const fs::path& path) {
  const std::string label = framework::path_to_utf8(path);
  const auto stream = framework::open_file(path);
  if (!stream) return tl::unexpected(stream.error());
  const auto archive = framework::ZipArchive::open(*stream, label);
  if (!archive) return tl::unexpected(archive.error());
  std::vector<SourceFile> files;
  pkg::local::contents_t contents;
  std::uint64_t left = kLimits.bytes;
  const std::vector<framework::ArchiveEntry> entries = (*archive)->entries();
  for (std::size_t place = 0; place < entries.size(); ++place) {
    const std::string& name = entries[place].name;
    const auto refused = [&](const std::string& why) {
      return tl::unexpected(IoError{label + ": " + name + ": " + why});
    };
    if (entries[place].is_special) return refused("is a link or the like");
    if (name.ends_with('/')) continue;
    if (const std::string why = refusal_of(name, contents); !why.empty()) return refused(why);
    const auto member = (*archive)->open_entry(place);
    if (!member) return tl::unexpected(member.error());
    // What the member claims is what it has: reading fails at more.
    const auto size = static_cast<std::uint64_t>(std::max<std::int64_t>((*member)->size(), 0));
    if (size > left) return refused(too_much());
    left -= size;
    auto bytes = framework::read_all(**member, framework::kIoBlock, size, label + ": " + name);
    if (!bytes) return tl::unexpected(bytes.error());
    files.push_back({name, std::move(*bytes)});
  }
  sort_by_path(files);
  return files;
}

}  // namespace zendro::store
