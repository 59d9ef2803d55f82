// The output pane: a read-only text that lines are appended to from any thread.
//
// Lines are gathered and put into the control in batches, in the order in which they came.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include <wx/textctrl.h>

namespace zendro::packages_ui {

class OutputPane {
 public:
  /// Hands an action to the window thread; the action is dropped once the window is gone.
  using Post = std::function<void(std::function<void()>)>;

  /// `control` outlives the pane's use on the window thread.
  OutputPane(wxTextCtrl* control, Post post);

  /// Appends a line below what is shown and scrolls to it. Thread-safe.
  void append_line(std::wstring_view line);

  // On the window thread:
  /// Replaces the text; lines that were appended but are not shown yet come below it.
  void replace(const std::wstring& text);
  void clear() { replace({}); }

 private:
  void flush();

  wxTextCtrl* control_;
  Post post_;
  bool at_line_start_ = true;
  std::mutex mutex_;
  std::wstring pending_;  ///< guarded by mutex_
};

}  // namespace zendro::packages_ui
