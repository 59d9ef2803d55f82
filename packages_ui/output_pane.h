// The output pane: a read-only text that lines are appended to from any thread.
//
// Lines are gathered and put into the control in batches, in the order in which they came.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include <wx/textctrl.h>

#include "packages_ui/paced_action.h"

namespace zendro::packages_ui {

class OutputPane {
 public:
  /// `control` outlives the pane's use on the window thread.
  OutputPane(wxTextCtrl* control, PostAction post);

  /// Appends a line below what is shown and scrolls to it, unless the user has scrolled up. What
  /// the user has selected stays so. Thread-safe.
  void append_line(std::wstring_view line);

  // On the window thread:
  /// Replaces the text and shows its beginning; the rest of a long text follows soon. Appended
  /// lines that are not shown yet come below it.
  void replace(std::wstring text);
  void clear() { replace({}); }
  /// Shows at once what has been appended so far.
  void show_pending() { flush(std::wstring::npos); }

 private:
  void flush(std::size_t limit);
  void show_lines(std::size_t limit);
  [[nodiscard]] bool follows_newest_line();

  wxTextCtrl* control_;
  bool at_line_start_ = true;
  bool following_ = true;
  int scroll_position_ = 0;  ///< at the last call of follows_newest_line()
  std::wstring rest_;        ///< the part of a replaced text that is not shown yet
  std::mutex mutex_;
  std::wstring pending_;  ///< guarded by mutex_
  PacedAction flush_;
};

}  // namespace zendro::packages_ui
