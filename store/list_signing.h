// Signing the list of a tree.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "framework/sign/secret_key.h"

namespace zendro::store {

struct SignedList {
  std::filesystem::path signature;
  std::string trusted_comment;
};

/// Signs the archive of the list of the tree `out`, in minisign's format, in the file beside it.
/// The trusted comment, unless one is given, names the time, in seconds since 1970, the archive and
/// its build number. An archive without a list, or one without a build number, is refused: clients
/// would take it in the place of any other.
framework::Result<SignedList> sign_list(const std::filesystem::path& out,
                                        const framework::SecretKey& key, std::string_view comment,
                                        std::int64_t time);

}  // namespace zendro::store
