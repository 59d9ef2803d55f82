// Links to folders, made as each system makes them.
#pragma once

#include <filesystem>

namespace zendro::tests {

/// Makes `link` lead to the folder `target`: a symbolic link, on Windows a junction. False where
/// the system cannot make one: Wine 8 knows no junctions.
bool make_folder_link(const std::filesystem::path& target, const std::filesystem::path& link);

/// Whether Windows programs run here without Windows.
bool is_wine();

}  // namespace zendro::tests
