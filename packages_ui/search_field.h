// The search field over the grid: shows only the packages that contain what is typed.
//
// Hidden until it is asked for. Window thread only.
#pragma once

#include <wx/textctrl.h>

#include "packages_ui/packages_rel_disp.h"

namespace zendro::packages_ui {

class SearchField : public wxTextCtrl {
 public:
  /// The field stands first in the sizer of `form`, `border` device-independent pixels away from
  /// what surrounds it. The grid outlives it.
  SearchField(wxWindow* form, PackagesRelDisp& grid, int border);

  /// What a key means to the search, wherever the cursor is; false for one that means nothing to
  /// it.
  bool handle_key(const wxKeyEvent& event);

 private:
  void open();
  void dismiss();
  void place();

  PackagesRelDisp& grid_;
};

}  // namespace zendro::packages_ui
