// Work on all cores.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace zendro::store {

/// Calls `work` once for each number below `count`, on several threads at once; it must not throw.
template <typename Work>
void for_each_in_parallel(std::size_t count, const Work& work) {
  std::atomic<std::size_t> next = 0;
  const auto run = [&] {
    for (std::size_t each = next++; each < count; each = next++) work(each);
  };
  std::vector<std::jthread> helpers;
  const std::size_t threads = std::max<std::size_t>(1, std::thread::hardware_concurrency());
  for (std::size_t one = 1; one < std::min(threads, count); ++one) helpers.emplace_back(run);
  run();
}

}  // namespace zendro::store
