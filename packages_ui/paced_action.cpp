#include "packages_ui/paced_action.h"

#include <utility>

namespace zendro::packages_ui {
namespace {

using Clock = std::chrono::steady_clock;

// Short enough to look immediate. The toolkit runs all posted actions before it handles keys and
// mouse, so without a pause a busy thread would block those.
constexpr std::chrono::milliseconds kBetweenRuns(40);

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
  requested_ = false;  // before the action, which may miss what is requested from here on
  action_();
  next_run_ = Clock::now() + kBetweenRuns;
}

}  // namespace zendro::packages_ui
