// Paths and texts as the functions of Windows take them. Stateless.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zendro::framework {

/// Between UTF-8 and UTF-16; what is neither becomes U+FFFD.
std::wstring wide(std::string_view utf8);
std::string narrow(std::wstring_view text);

/// A path that functions of Windows accept in any length: absolute, and from the length on at which
/// they would refuse it with the prefix that lifts the limit. Empty for the empty path and for one
/// that holds a NUL.
std::wstring api_path(const std::filesystem::path& path);

/// Such a path, or one that the system returned, without the prefix.
std::wstring without_prefix(std::wstring path);

}  // namespace zendro::framework
