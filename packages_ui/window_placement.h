// Puts a window where it was when it was last closed, as far as the screens at hand allow.
// Window thread only.
#pragma once

#include <optional>

#include <wx/dataview.h>
#include <wx/toplevel.h>

#include "packages_ui/selection/window_state.h"

namespace zendro::packages_ui {

/// Sets the smallest size of a window to what its sizer needs. Where the screen has no room for
/// that, `part`, a window of the sizer, gives way, so that nothing beside it is pushed off screen.
void set_smallest_size(wxTopLevelWindow& window, wxWindow* part);

/// Sizes and places a window as `state` tells; without one with `initial` device-independent
/// pixels in the middle of the screen.
void place_window(wxTopLevelWindow& window, wxDataViewCtrl& grid,
                  const std::optional<WindowState>& state, const wxSize& initial);

/// The state of a window that is shown. A maximised one keeps the place and size of `before`.
WindowState current_window_state(const wxTopLevelWindow& window, const wxDataViewCtrl& grid,
                                 const std::optional<WindowState>& before);

}  // namespace zendro::packages_ui
