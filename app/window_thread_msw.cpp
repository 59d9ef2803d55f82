#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>

#include <windows.h>

#include "app/window_thread.h"

namespace zendro::app {
namespace {

using Clock = std::chrono::steady_clock;

constexpr wchar_t kClassAndName[] = L"ActionHandlerWindowClass";
constexpr UINT kRunActions = WM_APP + 123;
constexpr UINT kRunAwaitedActions = WM_APP + 124;
constexpr UINT_PTR kTimer = 12345;

// Posted messages come before keys, mouse and painting, timers after them: a long queue is worked
// off in slices, the first one by a message and the others by the timer.
constexpr std::chrono::milliseconds kSlice(20);

[[noreturn]] void throw_last_error(const char* what) {
  throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

// Actions reach the window thread through a message-only window. Its messages carry nothing, since
// any program of the desktop can send them: they only say that there are actions in the queue.
class WindowThread : public framework::ActionPoster {
 public:
  WindowThread() {
    register_class();
    window_ = CreateWindowExW(0, kClassAndName, kClassAndName, 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                              GetModuleHandleW(nullptr), nullptr);
    if (window_ == nullptr) throw_last_error("The window for actions of other threads");
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }

  ~WindowThread() override {
    DestroyWindow(window_);
    const std::lock_guard lock(state_->mutex);
    state_->ended = true;
    state_->changed.notify_all();
  }

  WindowThread(const WindowThread&) = delete;
  WindowThread& operator=(const WindowThread&) = delete;

  void post(std::function<void()> action) override {
    {
      const std::lock_guard lock(state_->mutex);
      state_->actions.push_back({std::move(action), nullptr});
      if (state_->resting || std::exchange(state_->message_sent, true)) return;
    }
    wake(kRunActions);
  }

  void run(const std::function<void()>& action) override {
    if (GetCurrentThreadId() == owner_) {
      action();
      return;
    }
    const std::shared_ptr<State> state = state_;  // this object may end meanwhile
    Result result;
    {
      const std::lock_guard lock(state->mutex);
      state->actions.push_back({action, &result});
      ++state->awaited;
    }
    wake(kRunAwaitedActions);
    std::unique_lock lock(state->mutex);
    state->changed.wait(lock, [&] { return result.known || state->ended; });
    if (result.error) std::rethrow_exception(result.error);
  }

 private:
  // What came of an action that a thread waits for.
  struct Result {
    bool known = false;
    std::exception_ptr error;
  };
  struct Action {
    std::function<void()> run;
    Result* result;  // null where nobody waits
  };
  struct State {
    std::mutex mutex;                 // guards all, and the results
    std::condition_variable changed;  // of a result, or of `ended`
    std::deque<Action> actions;
    std::size_t awaited = 0;    // how many of them a thread waits for
    bool message_sent = false;  // and has not arrived yet
    bool resting = false;       // the timer runs
    bool ended = false;
  };

  static void register_class() {
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = procedure;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = kClassAndName;
    if (RegisterClassW(&window_class) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS) {
      throw_last_error("The window class for actions of other threads");
    }
  }

  static LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
    auto* self = reinterpret_cast<WindowThread*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr) {
      switch (message) {
        case kRunActions:
        case kRunAwaitedActions:
          self->on_message(message);
          return 0;
        case WM_TIMER:
          if (first != kTimer) break;
          self->on_timer();
          return 0;
      }
    }
    return DefWindowProcW(window, message, first, second);
  }

  void wake(UINT message) {
    // A full queue of messages refuses this one; sent messages and timers are not part of it.
    if (PostMessageW(window_, message, 0, 0)) return;
    if (GetCurrentThreadId() == owner_) {
      rest();
    } else if (!SendNotifyMessageW(window_, message, 0, 0)) {
      const std::lock_guard lock(state_->mutex);
      state_->message_sent = false;  // the next action tries again
    }
  }

  void on_message(UINT message) {
    if (InSendMessage()) {
      // The thread is in the middle of something else.
      rest();
      return;
    }
    {
      const std::lock_guard lock(state_->mutex);
      state_->message_sent = false;
      if (state_->resting && message == kRunActions) return;
    }
    run_actions(message == kRunAwaitedActions);
  }

  // Leaves the actions to the timer: no message is awaited from here on, whether it was refused or
  // has arrived. Actions that come after the timer send one again.
  void rest() {
    const std::lock_guard lock(state_->mutex);
    state_->message_sent = false;
    state_->resting = SetTimer(window_, kTimer, USER_TIMER_MINIMUM, nullptr) != 0;
  }

  void on_timer() {
    KillTimer(window_, kTimer);
    {
      const std::lock_guard lock(state_->mutex);
      state_->resting = false;
    }
    run_actions(false);
  }

  // Runs actions until a slice is over; with `awaited` also as long as a thread stands still for
  // one of them. An action that throws without anybody waiting for it ends the program.
  void run_actions(bool awaited) noexcept {
    const Clock::time_point end = Clock::now() + kSlice;
    while (std::optional<Action> action = take(awaited && Clock::now() >= end)) {
      run_one(*action);
      if (!awaited && Clock::now() >= end) break;
    }
    if (has_actions()) rest();
  }

  // The next action, if there is one; with `for_waiting` only if a thread waits for one.
  std::optional<Action> take(bool for_waiting) {
    const std::lock_guard lock(state_->mutex);
    if (state_->actions.empty() || (for_waiting && state_->awaited == 0)) return std::nullopt;
    Action action = std::move(state_->actions.front());
    state_->actions.pop_front();
    if (action.result != nullptr) --state_->awaited;
    return action;
  }

  bool has_actions() {
    const std::lock_guard lock(state_->mutex);
    return !state_->actions.empty();
  }

  void run_one(const Action& action) {
    if (action.result == nullptr) {
      action.run();
      return;
    }
    std::exception_ptr error;
    try {
      action.run();
    } catch (...) {
      error = std::current_exception();
    }
    const std::lock_guard lock(state_->mutex);
    *action.result = {true, error};
    state_->changed.notify_all();
  }

  const DWORD owner_ = GetCurrentThreadId();
  HWND window_ = nullptr;
  const std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace

std::shared_ptr<framework::ActionPoster> make_window_thread() {
  return std::make_shared<WindowThread>();
}

}  // namespace zendro::app
