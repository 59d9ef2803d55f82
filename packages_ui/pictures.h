// The drawings of the window, ready for the toolkit. Window thread only.
#pragma once

#include <string_view>

#include <wx/bmpbndl.h>
#include <wx/iconbndl.h>

namespace zendro::packages_ui {

/// The drawing of this name at `size` device-independent pixels.
wxBitmapBundle picture(std::string_view name, int size);

/// The icons of the program for title bars, the window switcher and the task bar, in the sizes that
/// these need at all usual resolutions.
wxIconBundle program_icons();

}  // namespace zendro::packages_ui
