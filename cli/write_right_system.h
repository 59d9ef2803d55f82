// What the operating system supplies for write_right.cpp.
#pragma once

#include <filesystem>

namespace zendro::cli {

/// Whether it is certain that the user may not make files in the folder.
bool is_write_denied(const std::filesystem::path& folder);

}  // namespace zendro::cli
