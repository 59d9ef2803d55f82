#include <windows.h>

#include "tests/window_fixture.h"

namespace zendro::tests {

// The control scrolls by lines.
int pixels_below(const wxTextCtrl& control) {
  SCROLLINFO lines = {};
  lines.cbSize = sizeof lines;
  lines.fMask = SIF_ALL;
  if (!GetScrollInfo(control.GetHWND(), SB_VERT, &lines)) return 0;
  const int below = lines.nMax + 1 - static_cast<int>(lines.nPage) - lines.nPos;
  return below * control.GetCharHeight();
}

// The control ends a line with two characters.
std::size_t length_of(const wxTextCtrl& control) {
  return static_cast<std::size_t>(control.GetLastPosition() - (control.GetNumberOfLines() - 1));
}

}  // namespace zendro::tests
