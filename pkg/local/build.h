// Making the folder of one package.
#pragma once

#include <string>

#include "framework/io/io.h"
#include "framework/system/folder.h"
#include "pkg/local/package.h"
#include "pkg/local/stamp.h"

namespace zendro::pkg::local {

/// Folders in the folder of all packages are nested no deeper than this.
inline constexpr int kMostLevels = 80;

/// The name of a taxonomy package; `number` counts those of a package from 1.
std::string zip_name(const std::string& identity, int number);

/// Makes `<identity>/` in `local` anew: the members, unpacked and proved by their digests while
/// that is done; the catalogs; the stamp. Taxonomy packages go to `zips` as second names of their
/// files, else as copies. What stood in the place of either is removed. After a failure something
/// may stand there that has no stamp.
framework::Result<stamp_t> build(const framework::Folder& local, const framework::Folder& zips,
                                 const package_t& package, const std::string& root,
                                 const std::string& source);

}  // namespace zendro::pkg::local
