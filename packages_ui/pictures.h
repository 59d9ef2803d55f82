// The drawings and the animation of the window, ready for the toolkit. Window thread only.
#pragma once

#include <string_view>

#include <wx/animate.h>
#include <wx/bmpbndl.h>

namespace zendro::packages_ui {

/// The drawing of this name at `size` device-independent pixels.
wxBitmapBundle picture(std::string_view name, int size);

/// The progress animation for an area of this size in pixels, in the colours of the desktop.
wxAnimation progress_picture(const wxAnimationCtrl& control, const wxSize& size);

}  // namespace zendro::packages_ui
