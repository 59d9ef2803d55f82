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

  /// Handles a key, wherever the focus is. False if the key has nothing to do with the search.
  bool handle_key(const wxKeyEvent& event);

 private:
  void open();
  void dismiss();
  void fit_form();

  PackagesRelDisp& grid_;
};

}  // namespace zendro::packages_ui
