// How other threads reach the window: actions that run on its thread.
#pragma once

#include <functional>
#include <memory>

#include <wx/window.h>

#include "framework/system/action_poster.h"

namespace zendro::packages_ui {

/// Runs an action on the window thread, soon and in the order in which actions were posted, or
/// drops it when the window is gone. Thread-safe.
using PostAction = std::function<void(std::function<void()>)>;

/// Posts to a window for as long as `alive` exists. Only the window thread releases `alive`, at the
/// latest when it destroys the window. Called on the window thread.
PostAction post_to_window(wxWindow& window, std::weak_ptr<void> alive,
                          std::shared_ptr<framework::ActionPoster> window_thread);

}  // namespace zendro::packages_ui
