// An action on the window thread that other threads may request as often as they like.
//
// However many requests come, at most one waits in the queue of the window thread, and between two
// runs the window has time to react to its user.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include <wx/timer.h>

#include "packages_ui/post_action.h"

namespace zendro::packages_ui {

/// Made and destroyed on the window thread, destroyed no earlier than the window that `post` is of.
class PacedAction {
 public:
  PacedAction(PostAction post, std::function<void()> action);
  PacedAction(const PacedAction&) = delete;
  PacedAction& operator=(const PacedAction&) = delete;

  /// Has the action run soon: once for all requests until then. Thread-safe.
  void request();
  /// Runs the action at once, which also serves the requests so far. Window thread only.
  void run();

 private:
  void run_when_due();

  PostAction post_;
  std::function<void()> action_;
  std::atomic<bool> requested_ = false;
  std::chrono::steady_clock::time_point next_run_;
  wxTimer timer_;
};

}  // namespace zendro::packages_ui
