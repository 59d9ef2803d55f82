// What the rows of the grid say besides their names.
#pragma once

#include <string>
#include <string_view>

#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

/// "installed", "latest", "upgrade available", "deprecated: ..." as they apply, then which version
/// needs this one, what it conflicts with, and why it cannot be installed; joined by ", ".
std::wstring version_state_words(const Selection& selection, RowId row);
/// What applies to any version of the package: "installed", "upgrade available", and "deprecated:
/// ..." where that holds for an installed version or for all of them.
std::wstring package_state_words(const Selection& selection, PackageId package);

/// The image name of a version row.
std::string_view version_icon(const VersionRow& row);
/// The image name of a package row: that of its versions where they agree.
std::string_view package_icon(const Selection& selection, PackageId package);

/// The datatip of a version row, lines separated by "\n". `patch_caption` is the caption of the
/// Patch Selection button.
std::wstring datatip_text(const Selection& selection, RowId row, std::wstring_view patch_caption);

}  // namespace zendro::packages_ui
