// Makes a complete package store for every type of a recipe.
#pragma once

#include <filesystem>
#include <iosfwd>

#include "demo/draft.h"

namespace zendro::demo {

/// Reads the recipe, makes each store in <output>/<type>, checks it and prints a line about it.
/// `output` must be empty or missing. Throws std::runtime_error on the first failure.
void make_stores(const std::filesystem::path& recipe, const SourceFolders& folders,
                 const std::filesystem::path& output, std::ostream& log);

}  // namespace zendro::demo
