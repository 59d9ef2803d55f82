// URLs of the scheme "zendro://pkg/", through which XML tools reach installed files.
#pragma once

#include <string>
#include <string_view>

#include "pkg/name_semver.h"

namespace zendro::pkg {

inline constexpr std::string_view kPackageUrlPrefix = "zendro://pkg/";

/// The URL of a member path of a package; "|zip", which marks a member inside a zip archive,
/// becomes "%7Czip".
std::string package_url(const name_semver_t& identity, std::string_view member_path);
/// Appends a member path to the URL of its package, which is that of the empty path.
void append_member_path(std::string& url, std::string_view member_path);

/// The URL that stands for a namespace of a package, whichever of its versions is installed.
std::string namespace_catalog_url(std::string_view package_name, std::string_view name_space);

}  // namespace zendro::pkg
