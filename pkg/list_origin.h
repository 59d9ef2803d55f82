// Which archive of a store the list of available packages came from, and which document told where
// the store is, as HTTP tells the versions of a document apart (RFC 9110, section 8.8): so the
// store need not send again what has not changed.
//
// Kept in a file of its own in the cache root; losing it costs one download.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Request headers (RFC 9110, section 13.1).
using conditions_t = std::vector<std::pair<std::string, std::string>>;

/// A document that was read, and the headers of its answer.
struct known_document_t {
  std::string url;
  framework::HttpHeaders headers;
};

struct known_store_t {
  std::string url;
  known_document_t bootstrap;
  conditions_t conditions;  ///< to ask with for a bootstrap document that tells another URL
};

/// What the bootstrap document at this URL said when the list on the disk was fetched. Nothing
/// where that is not known, or where nothing was told to ask with.
std::optional<known_store_t> known_store(core_context& context, const std::string& bootstrap_url);

/// The request headers with which `url` is asked for only if its archive
/// is another one than that of the list on the disk. None where that is not sure: where the list
/// cannot be read, came from elsewhere, has not the build number of that archive, or where another
/// public key than today's has proved it. A list that was read for this once is not read again
/// until it is written (see Folder::stamp_of).
conditions_t conditions_for(core_context& context, const std::string& url);

/// Takes note that the list on the disk came from this archive, of the store that the bootstrap
/// document named. Nothing is noted where the archive's headers do not tell versions apart, where
/// its URL has a password, or where that list has not the build number `read` from the archive.
/// Failures are not told, since nothing depends on it.
void note_list_origin(core_context& context, const known_document_t& bootstrap,
                      const std::string& store_url, const known_document_t& archive,
                      std::optional<std::int64_t> build_number);

/// For a list on the disk that turned out to be none: the next update fetches all of it.
void forget_list_origin(core_context& context);

}  // namespace zendro::pkg
