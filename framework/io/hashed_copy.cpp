#include "framework/io/hashed_copy.h"

#include <cstdint>

namespace zendro::framework {
namespace {

constexpr std::size_t kBlock = HashedCopy::kBlock;

// Reads until the block is full or the stream ends; false when it fails before.
bool fill(IOImpl_base& source, char* block, std::size_t& size) {
  for (size = 0; size < kBlock;) {
    const std::int64_t count = source.read(block + size, kBlock - size);
    if (count <= 0) return count == 0;
    size += static_cast<std::size_t>(count);
  }
  return true;
}

// The digest is the caller's, also where a stream throws.
struct WaitAtEnd {
  void operator()(HashThread* thread) const { thread->wait(); }
};

}  // namespace

bool hash_stream(IOImpl_base& source, Sha256& digest) {
  std::array<char, kIoBlock> block;
  for (;;) {
    const std::int64_t count = source.read(block.data(), block.size());
    if (count <= 0) return count == 0;
    digest.update(block.data(), static_cast<std::size_t>(count));
  }
}

bool HashedCopy::run(IOImpl_base& source, IOImpl_base& target, Sha256& digest) {
  const std::unique_ptr<HashThread, WaitAtEnd> waited_for(hashing_.get());
  for (std::size_t current = 0;; current = (current + 1) % blocks_.size()) {
    std::unique_ptr<char[]>& block = blocks_[current];
    if (!block) block = std::make_unique_for_overwrite<char[]>(kBlock);
    hashing_->wait(blocks_.size() - 1);
    std::size_t size = 0;
    const bool filled = fill(source, block.get(), size);
    const bool is_last = size < kBlock;
    if (is_last) {
      hashing_->wait();
      digest.update(block.get(), size);
    } else {
      hashing_->add(digest, {block.get(), kBlock});
    }
    if (size > 0 && target.write(block.get(), size) < 0) return false;
    if (is_last) return filled;
  }
}

}  // namespace zendro::framework
