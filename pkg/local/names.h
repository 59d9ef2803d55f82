// Paths of members as paths of files. Stateless.
#pragma once

#include <string>
#include <string_view>

namespace zendro::pkg::local {

inline constexpr std::string_view kFilesFolder = "files";
inline constexpr std::string_view kPackageUrlPrefix = "zendro://pkg/";

/// Whether every component of the path may be the name of a file or folder (see
/// framework::is_plain_or_device_name()), so that it leads nowhere but down.
bool is_plain_path(std::string_view path);
/// How many components a path has.
int levels_of(std::string_view path);

/// Where the file of a member path is: an archive ("x.zip|zip/") is a folder of its name.
std::string file_path(std::string_view member_path);
/// Where the file is that a package URL ("zendro://pkg/<identity>/<member path>") names, relative
/// to the folder of all packages; empty for what is no such URL or leads elsewhere.
std::string file_path_of_url(std::string_view url);

/// Whether the name is that of an archive.
bool has_archive_name(std::string_view path);

}  // namespace zendro::pkg::local
