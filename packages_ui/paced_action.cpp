#include "packages_ui/paced_action.h"

#include <utility>

namespace zendro::packages_ui {
namespace {

using Clock = std::chrono::steady_clock;

// Fast enough to look immediate. Posted actions are all run before the toolkit turns to keys and
// mouse, so without a pause a busy thread would keep it from them.
constexpr std::chrono::milliseconds kPause(40);

}  // namespace

PacedAction::PacedAction(PostAction post, std::function<void()> action)
    : post_(std::move(post)), action_(std::move(action)) {
  timer_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { run(); });
}

void PacedAction::request() {
  if (!requested_.exchange(true)) post_([this] { run_when_due(); });
}

void PacedAction::run_when_due() {
  if (!requested_ || timer_.IsRunning()) return;  // run() has been called meanwhile
  const auto left = next_run_ - Clock::now();
  if (left <= Clock::duration::zero()) {
    run();
  } else {
    timer_.StartOnce(static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(left).count()));
  }
}

void PacedAction::run() {
  timer_.Stop();
  requested_ = false;  // first: what is asked for from here on may have come too late for this run
  action_();
  next_run_ = Clock::now() + kPause;
}

}  // namespace zendro::packages_ui
