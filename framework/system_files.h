// What each operating system supplies to the functions of files.h. Stateless.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::framework {

/// Creates a folder with its missing parents; the system's text on failure. That a folder stands
/// there already is none.
std::string make_folders(const std::filesystem::path& path);

/// Time of the last modification, size and identity of a file; nothing where it does not exist.
std::vector<std::uint64_t> stamp_values(const std::filesystem::path& path);

/// The local path that the decoded path of a file: URL stands for; empty where it is not absolute.
std::filesystem::path path_from_url_path(std::string_view path);

}  // namespace zendro::framework
