#include "pkg/member_digest.h"

#include <array>
#include <cstdint>

namespace zendro::pkg {

framework::Result<framework::Sha256Digest> digest_of_member(const core_context& context,
                                                            const framework::Folder& folder,
                                                            std::string_view name) {
  const framework::OpenedStream file = folder.open_file(name);
  if (!file) return tl::unexpected(file.error());
  framework::Sha256 digest;
  std::array<char, framework::kIoBlock> block;
  while (!context.stop_requested()) {
    const std::int64_t count = (*file)->read(block.data(), block.size());
    if (count < 0) return tl::unexpected((*file)->error());
    if (count == 0) return digest.finish();
    digest.update(block.data(), static_cast<std::size_t>(count));
  }
  return tl::unexpected(framework::IoError{std::string(name) + ": not read to its end"});
}

}  // namespace zendro::pkg
