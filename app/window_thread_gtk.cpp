#include <future>
#include <utility>

#include <wx/app.h>
#include <wx/thread.h>

#include "app/window_thread.h"

namespace zendro::app {
namespace {

// The event loops of the toolkit run the actions.
class WindowThread : public framework::ActionPoster {
 public:
  void post(std::function<void()> action) override { wxTheApp->CallAfter(action); }

  void run(const std::function<void()>& action) override {
    if (wxThread::IsMain()) {
      action();
      return;
    }
    // Shared with the posted action: should it be dropped, the promise breaks and the wait ends.
    auto task = std::make_shared<std::packaged_task<void()>>(action);
    std::future<void> done = task->get_future();
    post([task = std::move(task)] { (*task)(); });
    try {
      done.get();
    } catch (const std::future_error&) {
      // The window thread has ended.
    }
  }
};

}  // namespace

std::shared_ptr<framework::ActionPoster> make_window_thread() {
  return std::make_shared<WindowThread>();
}

}  // namespace zendro::app
