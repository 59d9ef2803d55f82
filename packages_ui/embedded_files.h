// The form and the pictures of the window, built into the program.
#pragma once

#include <span>
#include <string_view>

namespace zendro::packages_ui {

/// The bytes of a file below packages_ui by its name without extension; empty for an unknown name.
/// Constant data.
std::span<const unsigned char> embedded_file(std::string_view name);

}  // namespace zendro::packages_ui
