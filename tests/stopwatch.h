// How long work took, as far as the machine was at it: on one that does other things as well, the
// time by the clock tells more of those than of the work.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>

namespace zendro::tests {

/// Seconds of processor time that this program has taken. std::clock() tells the time by the clock
/// on Windows.
inline double processor_seconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

class Stopwatch {
 public:
  /// Seconds since it was made: of this program's processor time, where that is less than what the
  /// clock says, but at least a quarter of that: work that waits is slow, too.
  [[nodiscard]] double seconds() const {
    const double by_clock = std::chrono::duration<double>(Clock::now() - start_).count();
    const double of_processor = processor_seconds() - processor_start_;
    return std::min(by_clock, std::max(of_processor, by_clock / 4));
  }
  void restart() { *this = Stopwatch(); }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
  double processor_start_ = processor_seconds();
};

}  // namespace zendro::tests
