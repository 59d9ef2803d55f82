// Zip archives whose bytes depend on nothing but the names and contents of their members.
#pragma once

#include <string>
#include <vector>

#include "store/source_files.h"

namespace zendro::store {

/// An archive of the files, sorted by path, all with the same time stamp and permissions, so that
/// the same files always give the same bytes. Throws std::runtime_error on failure.
std::string write_zip(std::vector<SourceFile> files);

}  // namespace zendro::store
