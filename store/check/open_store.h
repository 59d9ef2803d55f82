// Opening a store for a check: a tree of files, or what a server serves.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "framework/io/io.h"

#include "store/check/finding.h"
#include "store/check/loaded_store.h"

namespace zendro::store {

struct OpenedStore {
  std::optional<LoadedStore> store;  ///< nothing where clients get no list
  Findings findings;                 ///< about what the list comes in
};

/// Opens a published tree. Fails where there is none.
framework::Result<OpenedStore> open_tree(const std::filesystem::path& folder);

/// Opens what is served at the URL of a store, which ends with "/", or of its bootstrap document:
/// looks at digest and signature as they are served. Fails where nothing answers.
framework::Result<OpenedStore> open_served(const std::string& url);

/// The same store with another way to its members; what comes from descriptions that are not
/// published yet has no archive.
OpenedStore open_list(std::string list, ReadMember read_member);

}  // namespace zendro::store
