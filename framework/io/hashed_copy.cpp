#include "framework/io/hashed_copy.h"

#include <cstdint>
#include <future>

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
  std::future<void> hashed;  // the block before
  for (std::size_t current = 0;; current = 1 - current) {
    std::unique_ptr<char[]>& block = blocks_[current];
    if (!block) block = std::make_unique_for_overwrite<char[]>(kBlock);
    std::size_t size = 0;
    const bool filled = fill(source, block.get(), size);
    if (hashed.valid()) hashed.get();
    const bool is_last = size < kBlock;
    if (is_last) {
      digest.update(block.get(), size);
    } else {
      // Where no thread can be made, get() runs it on this one.
      hashed = std::async([&digest, data = block.get()] { digest.update(data, kBlock); });
    }
    if (size > 0 && target.write(block.get(), size) < 0) return false;
    if (is_last) return filled;
  }
}

}  // namespace zendro::framework
