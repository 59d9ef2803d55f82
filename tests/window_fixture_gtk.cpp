#include "tests/window_fixture.h"

namespace zendro::tests {

int pixels_below(const wxTextCtrl& control) {
  return control.GetScrollRange(wxVERTICAL) - control.GetScrollThumb(wxVERTICAL) -
         control.GetScrollPos(wxVERTICAL);
}

std::size_t length_of(const wxTextCtrl& control) {
  return static_cast<std::size_t>(control.GetLastPosition());
}

}  // namespace zendro::tests
