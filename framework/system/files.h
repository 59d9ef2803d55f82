// Files, folders and places of the operating system. Paths are std::filesystem paths made with
// path_from_utf8, so that every script works on every platform. What takes a path follows the links
// in it: for places that the user names. Where other users may write, use a Folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/io.h"
#include "framework/system/system_file.h"

namespace zendro::framework {

/// Separates folders in paths as the system writes them.
inline constexpr char kPathSeparator =
    static_cast<char>(std::filesystem::path::preferred_separator);

std::filesystem::path path_from_utf8(std::string_view text);
std::string path_to_utf8(const std::filesystem::path& path);

/// A UTF-8 name or path in a form that is the same for all spellings which the system takes for
/// the same file: on Windows case makes no difference. Not for display.
std::string comparable_name(std::string_view name);

/// The absolute path with its links, and on Windows its short names and its case, resolved as far
/// as it exists; what cannot be looked at stays as it is.
std::filesystem::path resolved_path(const std::filesystem::path& path);

/// The path that a file: URL names (RFC 8089), percent-decoded; empty where the URL is no such URL,
/// is not absolute, or names a file of another host.
std::filesystem::path path_from_file_url(std::string_view url);

/// The file: URL of an absolute path (RFC 8089), encoded as append_encoded_path() does.
std::string file_url(const std::filesystem::path& path);

/// Opens a regular file for reading. Anything but a regular file is refused without waiting for it.
OpenedStream open_file(const std::filesystem::path& path);

/// Opens a regular file for writing: created when missing, emptied otherwise.
OpenedStream create_file(const std::filesystem::path& path);

/// Reads a whole regular file of at most `limit` bytes.
Result<std::string> read_file(const std::filesystem::path& path, std::uint64_t limit);

/// Replaces the contents of a regular file in place, created when missing: reserves the space,
/// writes from the beginning, cuts the file to its new length, flushes to storage and closes. When
/// any of these fails, a file that was created is removed again.
///
/// Where there is no room (a full disk, a quota, a limit on the size of files), the reservation
/// fails and the old contents stay as they are. File systems of local disks can reserve space.
/// Others cannot, and those that copy on write may run out of room in spite of the reservation. A
/// failure after the reservation, or a crash, leaves a mixture: new contents at the beginning, old
/// ones behind.
WriteResult write_file(const std::filesystem::path& path, std::string_view bytes);

/// Creates a folder with its missing parents; no failure when it exists already. The empty path is
/// the current folder.
Result<void> create_folders(const std::filesystem::path& path);

/// Whether a regular file stands there, reached through links or not.
bool file_exists(const std::filesystem::path& path);

/// Whether it is certain that nothing stands there; false also where the place cannot be looked at.
bool is_missing(const std::filesystem::path& path);

/// The full path of the running program; empty where the system does not tell.
std::filesystem::path executable_path();

/// The folder for application data of all users of the machine, not created: on Windows the shell
/// folder CSIDL_COMMON_APPDATA; elsewhere /var/lib for root, else $XDG_DATA_HOME, else
/// ~/.local/share. The environment variable ZENDRO_COMMON_APPDATA, where set, wins. Empty where
/// nothing is known.
std::filesystem::path common_appdata_folder();

}  // namespace zendro::framework
