#include "tests/window_fixture.h"

namespace zendro::tests {

// The control scrolls by lines.
int pixels_below(const wxTextCtrl& control) {
  const int lines = control.GetScrollRange(wxVERTICAL) - control.GetScrollThumb(wxVERTICAL) -
                    control.GetScrollPos(wxVERTICAL);
  return lines * control.GetCharHeight();
}

// The control ends a line with two characters.
std::size_t length_of(const wxTextCtrl& control) {
  return static_cast<std::size_t>(control.GetLastPosition() - (control.GetNumberOfLines() - 1));
}

}  // namespace zendro::tests
