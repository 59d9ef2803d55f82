// Hands work of other threads to the thread that owns the windows, through the toolkit.
#pragma once

#include <wx/app.h>

#include "framework/action_poster.h"

namespace zendro::app {

/// Made and destroyed on the window thread; nobody posts after its destruction.
class WindowThread : public framework::ActionPoster {
 public:
  /// `toolkit` outlives this object; its event loops run the actions.
  explicit WindowThread(wxApp& toolkit) : toolkit_(toolkit) {}

  void post(std::function<void()> action) override;
  void run(const std::function<void()>& action) override;

 private:
  wxApp& toolkit_;
};

}  // namespace zendro::app
