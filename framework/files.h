// Files, folders and places of the operating system. Paths are std::filesystem paths made with
// path_from_utf8, so that every script works on every platform.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io.h"

namespace zendro::framework {

std::filesystem::path path_from_utf8(std::string_view text);
std::string path_to_utf8(const std::filesystem::path& path);

/// Opens a regular file for reading; null, with the cause in `error`, on failure.
std::shared_ptr<IOImpl_base> open_file(const std::filesystem::path& path, IoError& error);

/// Reads a whole regular file of at most `limit` bytes; false, with the cause in `error`.
bool read_file(const std::filesystem::path& path, std::string& out, std::uint64_t limit,
               IoError& error);

/// What a failed write_file had come to.
enum class WriteOutcome { written, not_opened, not_written };

/// Replaces the contents of a file in place (create or truncate, write, flush to storage, close).
/// A failed flush or close counts as not_written.
WriteOutcome write_file(const std::filesystem::path& path, std::string_view bytes, IoError& error);

/// Creates a folder with its missing parents; true when it exists afterwards.
bool create_folders(const std::filesystem::path& path, IoError& error);

bool file_exists(const std::filesystem::path& path);

/// A value that changes when a file's contents are replaced (0: the file does not exist).
std::uint64_t file_stamp(const std::filesystem::path& path);

/// The full path of the running program; empty where the system does not tell.
std::filesystem::path executable_path();

/// The folder for application data of all users of the machine, not created: on Windows the shell
/// folder CSIDL_COMMON_APPDATA; elsewhere /var/lib for root, else $XDG_DATA_HOME, else
/// ~/.local/share. The environment variable ZENDRO_COMMON_APPDATA, where set, wins. Empty where
/// nothing is known.
std::filesystem::path common_appdata_folder();

}  // namespace zendro::framework
