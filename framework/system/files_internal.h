// The parts of files.cpp that each operating system has of its own. Stateless. Internal to
// framework/system.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zendro::framework {

/// Creates a folder with its missing parents. Returns the system's text on failure, and nothing
/// where the folder exists afterwards.
std::string make_folders(const std::filesystem::path& path);

/// The local path that the decoded path of a file: URL stands for; empty where it is not absolute.
std::filesystem::path path_from_url_path(std::string_view path);

}  // namespace zendro::framework
