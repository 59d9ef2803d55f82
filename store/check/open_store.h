// Opening a store for a check: a tree of files, or what a server serves.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/io.h"
#include "framework/sign/public_key.h"

#include "store/check/finding.h"
#include "store/check/loaded_store.h"

namespace zendro::store {

struct OpenedStore {
  std::optional<LoadedStore> store;  ///< nothing where clients get no list
  Findings findings;                 ///< about what the list comes in
};

/// The keys that may have signed the list; without one the signature is not looked at.
using SigningKeys = std::vector<framework::PublicKey>;

/// Opens a published tree. Fails where there is none.
framework::Result<OpenedStore> open_tree(const std::filesystem::path& folder,
                                         const SigningKeys& keys = {});

/// Opens what is served at the URL of a store, which ends with "/", or of its bootstrap document:
/// looks at digest and signature as they are served. Fails where nothing answers.
framework::Result<OpenedStore> open_served(const std::string& url, const SigningKeys& keys = {});

/// Opens a list that is not published yet, and so in no archive.
OpenedStore open_list(std::string list, ReadMember read_member);

}  // namespace zendro::store
