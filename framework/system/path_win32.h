// Paths as the functions of Windows take them. Stateless.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zendro::framework {

/// A path that functions of Windows accept in any length: absolute, and from the length on at which
/// they would refuse it with the prefix that lifts the limit. Empty for the empty path and for one
/// that holds a NUL.
std::wstring api_path(const std::filesystem::path& path);

/// Such a path, or one that the system returned, without the prefix.
std::wstring without_prefix(std::wstring path);

}  // namespace zendro::framework
