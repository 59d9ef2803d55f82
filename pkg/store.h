// The package store: where it lives, and its list of available packages.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "framework/io/io.h"
#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

inline constexpr std::uint64_t kBootstrapLimit = 1ull << 20;  ///< bytes of the answer
inline constexpr std::uint64_t kArchiveLimit = 256ull << 20;  ///< bytes of the list's archive
/// The header of the archive that has its SHA-256 digest.
inline constexpr std::string_view kDigestHeader = "x-amz-meta-sha256";

/// The store URL that a bootstrap document names. Throws framework::JsonError.
std::string store_url_of(const json::value& document);

/// The list document `name` inside the archive of a list. Error texts call the archive
/// `shown_url`.
framework::Result<std::string> unpack_list(std::string archive, std::string_view name,
                                           const std::string& shown_url);

/// Asks the bootstrap endpoint for the URL of the store, whose members will be asked for next.
/// Reports what goes wrong; then there is none.
std::optional<std::string> bootstrap_store(core_context& context);

/// Fetches the list of available packages, proves it by its digest, and by its signature where the
/// options name a key, puts it in place if it is newer and brings the catalogs up to date. Unless
/// `force`, the cache must be initialised; with it, known folders are enough. The store need not
/// send a list that has not changed, unless it is `always` to be fetched. Throws
/// framework::JsonError for a bad option.
bool update_store_information(core_context& context, bool force, bool always = false);

/// The same from an archive on the disk instead of the store's, proved by the digest in the file
/// beside it, whose name has ".sha256" behind that of the archive, and the signature in one with
/// ".minisig".
bool update_from_archive(core_context& context, std::string_view path);

/// Replaces the list of available packages by `list` unless the one in place has at least its build
/// number, then brings the catalogs up to date. A list without a build number always replaces. What
/// is installed and stands in the list no more is kept as deprecated, so that it can be removed.
bool write_pkg_information(core_context& context, pkgs_available_t list);

}  // namespace zendro::pkg
