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

/// The files below `root`/`folder` whose path relative to that folder matches one of `patterns`,
/// sorted by path. A pattern that ends with "/" takes a folder with everything below it; in others
/// "*" stands for any characters but "/". `root` stands for the root of a file system: absolute
/// symbolic links lead to places below it. Links to folders or to nothing are left out.
/// Throws std::runtime_error when a pattern takes nothing or a file cannot be read.
std::vector<SourceFile> collect_files(const std::filesystem::path& root, std::string_view folder,
                                      const std::vector<std::string>& patterns);

/// Whether a relative path matches a pattern as described above.
bool path_matches(std::string_view pattern, std::string_view path);

/// The file at `path` in a sorted list; null where there is none.
const SourceFile* find_file(const std::vector<SourceFile>& files, std::string_view path);

/// Whether the sorted list holds a file below the folder `path`, which ends with "/".
bool has_folder(const std::vector<SourceFile>& files, std::string_view path);

/// Reads a file of reasonable size; throws std::runtime_error with the cause.
std::string read_whole_file(const std::filesystem::path& path);

}  // namespace zendro::store
