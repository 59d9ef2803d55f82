// Writes the store of one package type: the member archives, the list of available packages in its
// own archive with the digest beside it, and the package file.
//
//   <folder>/pkgs-available.json.zip         the list
//   <folder>/pkgs-available.json.zip.sha256  its digest, as sha256sum writes it
//   <folder>/<type>/<identity>/<member>      one archive for each package
//   <folder>/<package file>                  packages that are not in the list
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "demo/draft.h"

namespace zendro::demo {

/// Writes into a folder that is created if need be; the same drafts always give the same bytes.
/// Throws std::runtime_error on failure.
void write_store(const StoreRecipe& store, const std::vector<Draft>& drafts,
                 std::int64_t build_number, const std::filesystem::path& folder);

}  // namespace zendro::demo
