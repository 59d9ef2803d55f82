// The page that tells users how their tools are pointed at the catalogs.
#pragma once

#include <filesystem>
#include <string>

namespace zendro::pkg::local {

/// The text of "how-to.txt"; `local` is the absolute path of the folder of all packages.
std::string how_to(const std::filesystem::path& local);

}  // namespace zendro::pkg::local
