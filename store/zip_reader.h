// Reading of whole small zip archives.
#pragma once

#include <string_view>
#include <vector>

#include "store/source_files.h"

namespace zendro::store {

/// All files of an archive, sorted by path. Throws std::runtime_error for damaged archives.
std::vector<SourceFile> read_zip(std::string_view bytes);

}  // namespace zendro::store
