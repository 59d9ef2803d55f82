// The small window that shows how far the work is that comes before the window of the program.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include <wx/button.h>
#include <wx/dialog.h>
#include <wx/gauge.h>
#include <wx/stattext.h>
#include <wx/timer.h>

#include "framework/system/action_poster.h"
#include "packages_ui/selection/start_progress.h"

namespace zendro::packages_ui {

class StartWindow : public wxDialog {
 public:
  /// `window_thread` posts to the thread that makes the window.
  StartWindow(const std::wstring& caption, std::shared_ptr<framework::ActionPoster> window_thread);

  /// Runs `work` on a thread of its own and returns when it has ended. Windows react meanwhile, and
  /// this one appears if the work takes long enough to be noticed. When the user closes it, `stop`
  /// is called: the window closes if that returns true, having made the work end. Throws what
  /// `work` throws, and std::system_error when no thread can be made.
  void run(const std::function<void(const ShowStart&)>& work, std::function<bool()> stop);

 private:
  void create_controls();
  void report(const StartProgress& start);
  void on_tick();

  std::shared_ptr<framework::ActionPoster> window_thread_;
  wxStaticText* text_ = nullptr;
  wxGauge* gauge_ = nullptr;
  wxStaticText* details_ = nullptr;
  wxButton* cancel_ = nullptr;  ///< enabled while the work waits for its turn
  std::function<bool()> stop_;
  wxTimer tick_;
  std::mutex mutex_;
  StartProgress latest_;  ///< guarded by mutex_
};

}  // namespace zendro::packages_ui
