// One background thread for one piece of work at a time.
#pragma once

#include <functional>
#include <thread>

namespace zendro::packages_ui {

/// Used by one thread, its owner's. Destruction waits for work that is under way.
class Worker {
 public:
  Worker() = default;
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker();

  /// Runs `work` on a thread of its own and returns at once. `work` must not throw; the previous
  /// work must have come to its end. Throws std::system_error when no thread can be made.
  void start(std::function<void()> work);

 private:
  std::thread thread_;
};

}  // namespace zendro::packages_ui
