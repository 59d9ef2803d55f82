// What Apply would do, as lists, as text and as actions for the package cache.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "packages_ui/selection/selection.h"
#include "pkg/cache.h"

namespace zendro::packages_ui {

/// Version rows in grid order.
struct PendingChanges {
  std::vector<RowId> uninstall;  ///< installed and not checked
  std::vector<RowId> patch;      ///< installed, checked and the patch chosen
  std::vector<RowId> install;    ///< checked and not installed

  [[nodiscard]] bool empty() const { return uninstall.empty() && patch.empty() && install.empty(); }
};

PendingChanges pending_changes(const Selection& selection);

/// The summary for the output pane; lines end with "\r\n". With nothing pending it says what to do,
/// naming the Apply button by its caption.
std::wstring summary_text(const Selection& selection, std::wstring_view apply_caption);

/// What the package cache is to do: uninstalls, then patches (as installs of the new level), then
/// installs; each identity once.
std::vector<pkg::filter_action> pending_actions(const Selection& selection);

}  // namespace zendro::packages_ui
