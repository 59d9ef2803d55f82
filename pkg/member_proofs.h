// Which members have been proved by their digests, for those who open them often.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include "framework/io/digest.h"
#include "framework/io/io.h"
#include "framework/system/folder.h"

namespace zendro::pkg {

/// A file that has been hashed once is not hashed again until it is written (see Folder::stamp_of)
/// or
/// another digest is asked for. Thread-safe.
class member_proofs {
 public:
  /// Proves that the file `name` of the folder, which `stream` reads from its beginning, has the
  /// digest. It fails also when it cannot be read. The stream is at its beginning afterwards.
  framework::Result<void> prove(const framework::Folder& folder, std::string_view name,
                                framework::IOImpl_base& stream,
                                const framework::Sha256Digest& digest);

 private:
  using member_proof = std::pair<std::uint64_t, framework::Sha256Digest>;

  std::mutex mutex_;
  std::map<std::filesystem::path, member_proof> proofs_;  ///< the stamp of the file, and its digest
};

}  // namespace zendro::pkg
