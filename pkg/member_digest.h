// The digests of members that are on the disk.
#pragma once

#include <string_view>

#include "framework/io/digest.h"
#include "framework/io/io.h"
#include "framework/system/folder.h"
#include "pkg/core_context.h"

namespace zendro::pkg {

/// The digest of the file `name`. Fails where it cannot be read, and once the operation is to stop.
/// May be called on any thread.
framework::Result<framework::Sha256Digest> digest_of_member(const core_context& context,
                                                            const framework::Folder& folder,
                                                            std::string_view name);

}  // namespace zendro::pkg
