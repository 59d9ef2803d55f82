// Links and other things that are no ordinary files, made as each system makes them.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

namespace zendro::tests {

/// Makes `link` lead to the folder `target`: a symbolic link, on Windows a junction. False where
/// the system cannot make one: Wine 8 knows no junctions.
bool make_folder_link(const std::filesystem::path& target, const std::filesystem::path& link);

/// Whether Windows programs run here without Windows.
bool is_wine();

/// What may stand in the place of a file. `put` is false where the system cannot make it.
struct Plant {
  const char* name;
  std::function<bool(const std::filesystem::path& place)> put;
};

/// All kinds but a folder; "hard link" is the one that can be read. They lead to "file", "missing"
/// and "sub" in the folder `outside`.
std::vector<Plant> plants(const std::filesystem::path& outside);

}  // namespace zendro::tests
