// Conversion between UTF-8 and wide texts (UTF-16 or UTF-32, as wchar_t is wide).
#pragma once

#include <string>
#include <string_view>

namespace zendro::msg {

/// Bytes that are not UTF-8 become U+FFFD.
std::wstring to_wide(std::string_view utf8);
/// Code units that are no character become U+FFFD.
std::string to_utf8(std::wstring_view wide);

}  // namespace zendro::msg
