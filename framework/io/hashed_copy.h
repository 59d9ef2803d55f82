// Reading streams whose digest is wanted.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "framework/io/digest.h"
#include "framework/io/hash_thread.h"
#include "framework/io/io.h"

namespace zendro::framework {

/// Reads `source` to its end into `digest`. False, with the cause in its error, when that fails.
bool hash_stream(IOImpl_base& source, Sha256& digest);

/// Copies streams, one after the other. Of one that is longer than a block each block is hashed on
/// a second thread, where there can be one, while it is written and the next one is read: hashing
/// takes about as long as receiving and writing together.
class HashedCopy {
 public:
  /// Bytes handed over at a time.
  static constexpr std::size_t kBlock = std::size_t{1} << 20;

  /// Reads `source` to its end into `digest` and into `target`, which receives all that arrived
  /// even where reading fails. False, with the cause in the error of the stream that failed; the
  /// digest is of no use then.
  bool run(IOImpl_base& source, IOImpl_base& target, Sha256& digest);

 private:
  // One of them is hashed, one is written or filled, and one waits, so that neither side has to
  // whenever the other one is late.
  std::array<std::unique_ptr<char[]>, 3> blocks_;
  // The last member: it ends before the blocks.
  std::unique_ptr<HashThread> hashing_ = std::make_unique<HashThread>();
};

}  // namespace zendro::framework
