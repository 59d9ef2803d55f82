// Shows that an operation runs and how far it is: the animation with a text beside it. While none
// runs, the text is the version of the program.
#pragma once

#include <mutex>

#include <wx/animate.h>
#include <wx/stattext.h>

#include "packages_ui/paced_action.h"
#include "pkg/progress.h"

namespace zendro::packages_ui {

/// The controls outlive the display's use. Window thread but for report().
class ProgressDisplay {
 public:
  /// Gives the animation its picture and hides it.
  ProgressDisplay(wxAnimationCtrl* animation, wxStaticText* text, PostAction post);

  void start();
  void stop();
  /// Keeps the latest progress and has it shown soon. Thread-safe and quick.
  void report(const pkg::progress_t& progress);

 private:
  void show_latest();

  wxAnimationCtrl* animation_;
  wxStaticText* text_;
  bool running_ = false;
  std::mutex mutex_;
  pkg::progress_t latest_;  ///< guarded by mutex_
  PacedAction show_;
};

}  // namespace zendro::packages_ui
