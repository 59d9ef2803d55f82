// Work on all cores.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

#include "framework/system/this_process.h"

namespace zendro::store {

/// Calls `work` once for each number below `count`, on several threads at once; it must not throw.
template <typename Work>
void for_each_in_parallel(std::size_t count, const Work& work) {
  std::atomic<std::size_t> next = 0;
  const auto run = [&] {
    for (std::size_t each = next++; each < count; each = next++) work(each);
  };
  std::vector<std::jthread> helpers;
  const std::size_t threads = std::min(framework::processor_count(), count);
  for (std::size_t one = 1; one < threads; ++one) helpers.emplace_back(run);
  run();
}

}  // namespace zendro::store
