#include "store/source_files.h"

#include <algorithm>
#include <stdexcept>

#include "framework/system/files.h"

namespace zendro::store {

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kLargestFile = std::uint64_t{64} << 20;
bool less_path(const SourceFile& file, std::string_view path) { return file.path < path; }

}  // namespace

std::string read_whole_file(const fs::path& path) {
  framework::Result<std::string> bytes = framework::read_file(path, kLargestFile);
  if (!bytes) {
    throw std::runtime_error(bytes.error().text);
  }
  return std::move(*bytes);
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
