// Hashing beside other work.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "framework/io/digest.h"

namespace zendro::framework {

/// Takes blocks into digests, one after the other, on a thread that is made for the first of them
/// and lasts as long as this; where no thread can be made, on the caller's. Used by one thread.
class HashThread {
 public:
  HashThread() = default;
  /// Waits for the blocks that were added.
  ~HashThread();
  HashThread(const HashThread&) = delete;
  HashThread& operator=(const HashThread&) = delete;

  /// Takes in the block when its turn comes; it and the digest stay until then.
  void add(Sha256& digest, std::string_view block);
  /// Returns when so many blocks at most are not taken in.
  void wait(std::size_t most = 0);

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<Sha256*, std::string_view>> blocks_;  ///< that are not taken in
  bool is_over_ = false;
  std::thread thread_;
};

}  // namespace zendro::framework
