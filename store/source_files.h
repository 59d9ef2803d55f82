// Files of an unpacked Debian package, taken into memory under the paths that they get in a member
// archive. No state; usable from any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::store {

/// One file of an archive: its path in the archive ("/" between folders) and its contents.
struct SourceFile {
  std::string path;
  std::string bytes;
};

/// The file at `path` in a sorted list; null where there is none.
const SourceFile* find_file(const std::vector<SourceFile>& files, std::string_view path);

/// Whether the sorted list holds a file below the folder `path`, which ends with "/".
bool has_folder(const std::vector<SourceFile>& files, std::string_view path);

/// Reads a file of reasonable size; throws std::runtime_error with the cause.
std::string read_whole_file(const std::filesystem::path& path);

}  // namespace zendro::store
