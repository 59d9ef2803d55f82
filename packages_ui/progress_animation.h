// The animation that runs while an operation does: a row of dots that light up one after another.
// Window thread only.
#pragma once

#include <wx/animate.h>

namespace zendro::packages_ui {

/// The animation for an area of `size` pixels, in the colours of the desktop on a transparent
/// ground; it repeats for ever. `control` is what will show it.
wxAnimation progress_animation(const wxAnimationCtrl& control, const wxSize& size);

}  // namespace zendro::packages_ui
