// Package files: zip archives on the local disk that carry packages.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/core_context.h"

namespace zendro::pkg {

/// The member of a package file that describes its packages.
inline constexpr std::string_view kPackageMetaFile = "ZENDROPKG-INF/pkg-meta.json";

/// Takes over what the package file at `path` holds: members that are not on the disk yet are
/// copied into the folders of their packages, and its entries join the list of available packages,
/// where an identity that the list holds already stays as it is. All entries are checked before the
/// first byte is written. Returns the names that the file provides, or nothing after a reported
/// failure; members copied by then stay.
std::optional<std::vector<std::string>> read_package_file(core_context& context,
                                                          std::string_view path);

}  // namespace zendro::pkg
