#include "pkg/member_proofs.h"

#include "framework/io/hashed_copy.h"
#include "framework/system/files.h"

namespace zendro::pkg {

framework::Result<void> member_proofs::prove(const framework::Folder& folder, std::string_view name,
                                             framework::IOImpl_base& stream,
                                             const framework::Sha256Digest& digest) {
  const std::filesystem::path path = folder.path() / framework::path_from_utf8(name);
  const member_proof wanted(folder.stamp_of(name), digest);
  {
    const std::lock_guard lock(mutex_);
    const auto known = proofs_.find(path);
    if (known != proofs_.end() && known->second == wanted) return {};
  }
  framework::Sha256 hash;
  if (!framework::hash_stream(stream, hash) || stream.seek(0, framework::SeekOrigin::begin) != 0) {
    return tl::unexpected(stream.error());
  }
  if (hash.finish() != digest) {
    return tl::unexpected(framework::IoError{framework::path_to_utf8(path) +
                                             ": the file has not the digest of its package"});
  }
  // What was written meanwhile is hashed again next time.
  if (wanted.first != 0 && folder.stamp_of(name) == wanted.first) {
    const std::lock_guard lock(mutex_);
    proofs_[path] = wanted;
  }
  return {};
}

}  // namespace zendro::pkg
