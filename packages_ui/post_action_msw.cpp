#include <deque>
#include <mutex>
#include <utility>

#include <windows.h>
#include <commctrl.h>

#include "packages_ui/post_action.h"

namespace zendro::packages_ui {
namespace {

// Shared by the window and by those who post to it. The window message for a posted action carries
// no data, since any program of the desktop can send such a message.
class PostedActions {
 public:
  explicit PostedActions(std::weak_ptr<void> alive) : alive_(std::move(alive)) {}

  void add(std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    actions_.push_back(std::move(action));
  }

  void run_next() {
    std::function<void()> action;
    {
      const std::lock_guard lock(mutex_);
      if (actions_.empty()) return;
      action = std::move(actions_.front());
      actions_.pop_front();
    }
    if (is_alive()) action();
  }

  [[nodiscard]] bool is_alive() const { return !alive_.expired(); }

 private:
  const std::weak_ptr<void> alive_;
  std::mutex mutex_;
  std::deque<std::function<void()>> actions_;  // guarded by mutex_
};

UINT posted_message() {
  static const UINT message = RegisterWindowMessageW(L"ZendroPackageManagerPostedAction");
  return message;
}

// An action that throws ends the program: the system's code lies between it and any handler.
LRESULT CALLBACK window_procedure(HWND window, UINT message, WPARAM first, LPARAM second,
                                  UINT_PTR id, DWORD_PTR data) noexcept {
  auto* actions = reinterpret_cast<std::shared_ptr<PostedActions>*>(data);
  if (message == posted_message()) {
    // Ours are posted. One that is sent comes from elsewhere, in the middle of other work.
    if (InSendMessage()) return 0;
    // Held, because the action may destroy the window.
    const std::shared_ptr<PostedActions> held = *actions;
    held->run_next();
    return 0;
  }
  if (message == WM_NCDESTROY) {
    RemoveWindowSubclass(window, window_procedure, id);
    delete actions;
  }
  return DefSubclassProc(window, message, first, second);
}

}  // namespace

PostAction post_to_window(wxWindow& window, std::weak_ptr<void> alive,
                          std::shared_ptr<framework::ActionPoster> window_thread) {
  const auto actions = std::make_shared<PostedActions>(std::move(alive));
  auto* of_window = new std::shared_ptr<PostedActions>(actions);
  constexpr UINT_PTR kId = 1;
  SetWindowSubclass(window.GetHWND(), window_procedure, kId,
                    reinterpret_cast<DWORD_PTR>(of_window));
  return [actions, handle = window.GetHWND(),
          window_thread = std::move(window_thread)](std::function<void()> action) {
    if (!actions->is_alive()) return;
    actions->add(std::move(action));
    if (PostMessageW(handle, posted_message(), 0, 0)) return;
    // The queue of messages is full, or the window has gone just now.
    window_thread->post([actions] { actions->run_next(); });
  };
}

}  // namespace zendro::packages_ui
