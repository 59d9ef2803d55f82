// The files of a package: taken from a folder or an archive that comes from outside.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "framework/io/io.h"

#include "store/source_files.h"

namespace zendro::store {

/// The paths of all files below a folder, sorted by bytes, "/" between names. Refused are links and
/// names that cannot be unpacked everywhere: the rules of package files (pkg/local/).
framework::Result<std::vector<std::string>> list_files(const std::filesystem::path& folder);

/// All files below a folder, as list_files() has them.
framework::Result<std::vector<SourceFile>> read_folder(const std::filesystem::path& folder);

/// All files of a zip archive, sorted. Refused is what package files refuse: paths that lead
/// elsewhere, links, two names for one file, more than deflate could hold or than a package may
/// unpack to.
framework::Result<std::vector<SourceFile>> read_archive(const std::filesystem::path& path);

}  // namespace zendro::store
