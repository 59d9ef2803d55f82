// Replacing a file of a cache root: how lists and catalogs are written.
#pragma once

#include <string_view>

#include "pkg/reporter.h"
#include "pkg/root_folder.h"

namespace zendro::pkg {

enum class replace_outcome { replaced, no_folder, not_opened, not_written };

/// Replaces the file `name` of a root by `text`, in place, under the cache-write lock. A missing
/// folder is created. What the I/O layer says of a failure is reported; to say what that means for
/// the operation is left to the caller.
replace_outcome replace_file(root_folder& root, std::string_view name, std::string_view text,
                             message_reporter& reporter);

}  // namespace zendro::pkg
