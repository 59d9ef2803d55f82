// Keeping the files for other programs, `<cache root>local/`, in step with what is installed.
#pragma once

#include <span>
#include <string>

#include "pkg/core_context.h"
#include "pkg/local/package.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// What a package brings, but for a way to open its folder. Views the metadata. Throws
/// framework::JsonError where that has a wrong type, or a member without a digest.
local::package_t describe(const package_t& package);

/// Makes the folder what these installed packages, in package order, ask for (see pkg/local/), or
/// removes it where the option "pkg.local_files" says so. Never fails: what cannot be done is a
/// warning, one for each package that is left out.
void update_local_files(core_context& context, std::span<const package_t* const> packages);

/// Says in the log where other programs find what is installed, if they do.
void log_local_files(core_context& context);

}  // namespace zendro::pkg
