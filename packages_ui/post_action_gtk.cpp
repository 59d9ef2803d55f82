#include <utility>

#include "packages_ui/post_action.h"

namespace zendro::packages_ui {

PostAction post_to_window(wxWindow&, std::weak_ptr<void> alive,
                          std::shared_ptr<framework::ActionPoster> window_thread) {
  return [alive = std::move(alive),
          window_thread = std::move(window_thread)](std::function<void()> action) {
    window_thread->post([alive, action = std::move(action)] {
      if (!alive.expired()) action();
    });
  };
}

}  // namespace zendro::packages_ui
