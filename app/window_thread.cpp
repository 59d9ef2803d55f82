#include "app/window_thread.h"

#include <future>
#include <memory>
#include <utility>

#include <wx/thread.h>

namespace zendro::app {

void WindowThread::post(std::function<void()> action) { toolkit_.CallAfter(action); }

void WindowThread::run(const std::function<void()>& action) {
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

}  // namespace zendro::app
