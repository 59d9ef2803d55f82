// Removing folders with all that is in them, without following a link.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "framework/system/folder.h"

namespace zendro::framework {

/// Told of each entry that is gone: its path, whether it was a folder, and whether somebody else
/// was quicker.
using RemovalSink = std::function<void(const std::string& path, bool is_folder, bool was_gone)>;

/// Removes what a folder holds. `path` is the folder's, with a separator at its end, for the sink,
/// which may be empty. Fails as soon as something cannot be removed, and where folders are nested
/// deeper than `levels`.
Result<void> remove_contents(const Folder& folder, const std::string& path, int levels,
                             const RemovalSink& sink);

/// Removes whatever stands under a name, a folder with its contents; no failure where nothing does.
Result<void> remove_all(const Folder& parent, std::string_view name, int levels);

}  // namespace zendro::framework
