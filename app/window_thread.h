// Hands work of other threads to the thread that owns the windows.
#pragma once

#include <memory>

#include "framework/system/action_poster.h"

namespace zendro::app {

/// Makes the calling thread, on which the toolkit has been started, the one that actions run on.
/// The result is destroyed on that thread before the toolkit ends; nobody posts after that. Throws
/// std::system_error where the system refuses what it takes.
std::shared_ptr<framework::ActionPoster> make_window_thread();

}  // namespace zendro::app
