// Handing work to the window thread.
#pragma once

#include <functional>

namespace zendro::framework {

/// Implemented by whoever owns the window thread. Thread-safe.
class ActionPoster {
 public:
  virtual ~ActionPoster() = default;
  /// Queues `action` to run on the window thread and returns at once; actions run in the order in
  /// which they were posted. Dropped when the window thread has ended.
  virtual void post(std::function<void()> action) = 0;
  /// Runs `action` on the window thread and returns when it has run; at once on that thread itself.
  /// An exception of the action reaches the caller.
  virtual void run(const std::function<void()>& action) = 0;
};

}  // namespace zendro::framework
