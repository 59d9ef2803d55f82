// Which buttons of the dialog are enabled.
#pragma once

#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

struct ButtonStates {
  bool changed = false;      ///< Apply and Reset Selection are enabled, Close reads Cancel
  bool any_checked = false;  ///< Deselect All is enabled
  bool patchable = false;    ///< Patch Selection is enabled
};

ButtonStates button_states(const Selection& selection);

}  // namespace zendro::packages_ui
