// Opening a folder of sources for a check, as the build would publish it.
#pragma once

#include <filesystem>

#include "store/check/open_store.h"

namespace zendro::store {

/// Reads the descriptions of a store; what is at fault in one of them is a finding, and its package
/// is left out. Members are packed when they are read. Fails where there is no store.
framework::Result<OpenedStore> open_sources(const std::filesystem::path& folder);

}  // namespace zendro::store
