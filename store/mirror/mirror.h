// Copies a store, or some of its packages, into a folder that can be published again.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "framework/http/http.h"
#include "framework/io/io.h"
#include "pkg/progress.h"

namespace zendro::store {

struct MirrorRequest {
  std::string source;  ///< a store URL, which ends with "/", or else that of a bootstrap document
  std::filesystem::path folder;
  std::vector<std::string> filters;  ///< as those of an install; none: everything
  std::string url;                   ///< where the copy will be served; empty: not told
};

/// What is told while it runs. All may be empty.
struct MirrorSinks {
  std::function<void(const std::string&)> note;
  std::function<void(const std::string&)> warning;
  pkg::progress_sink progress;
};

struct MirrorOutcome {
  std::size_t packages = 0;
  std::uint64_t present = 0;  ///< members that were there, whole
  std::uint64_t fetched = 0;  ///< members that were not
  bool is_list_new = false;
  bool is_signed = false;
};

/// Brings the list of the source, with the packages that the filters choose and all that they
/// reference, and their members into the folder. Members are proved by their digests, those that
/// are there already as well; only the others are fetched, each into a file that gets its name when
/// it is whole. The list comes last, so that a copy that is cut short stays what it was, and the
/// next call goes on with it. Build numbers are those of the source.
framework::Result<MirrorOutcome> mirror(framework::HttpTransport& http,
                                        const MirrorRequest& request, const MirrorSinks& sinks = {},
                                        const std::stop_token& stop = {});

}  // namespace zendro::store
