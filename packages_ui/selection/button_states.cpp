#include "packages_ui/selection/button_states.h"

namespace zendro::packages_ui {

ButtonStates button_states(const Selection& selection) {
  ButtonStates states;
  for (const VersionRow& row : selection.rows()) {
    states.any_checked |= row.checked;
    states.changed |= row.checked != row.installed || row.patch == PatchState::chosen;
    states.patchable |= row.patch == PatchState::available;
  }
  return states;
}

}  // namespace zendro::packages_ui
