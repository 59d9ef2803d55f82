// How long work took, as far as the machine was at it: on one that does other things as well, the
// time by the clock tells more of those than of the work.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>

namespace zendro::tests {

class Stopwatch {
 public:
  /// Seconds since it was made: of this program's processor time, where that is less than what the
  /// clock says, but at least a quarter of that: work that waits is slow, too.
  [[nodiscard]] double seconds() const {
    const double by_clock = std::chrono::duration<double>(Clock::now() - start_).count();
    const double of_processor =
        static_cast<double>(std::clock() - processor_start_) / CLOCKS_PER_SEC;
    return std::min(by_clock, std::max(of_processor, by_clock / 4));
  }
  void restart() { *this = Stopwatch(); }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
  std::clock_t processor_start_ = std::clock();
};

}  // namespace zendro::tests
