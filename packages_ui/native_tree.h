// The tree control of the system below the toolkit's data view control.
//
// The toolkit often searches through all rows to find one, so that showing or expanding tens of
// thousands of packages takes it seconds. These functions avoid the searches. Window thread only.
#pragma once

#include <optional>
#include <set>
#include <span>

#include <wx/dataview.h>

#include "packages_ui/packages_viewbase.h"
#include "packages_ui/selection/grid_rows.h"

namespace zendro::packages_ui::native_tree {

/// Shows the view with these rows, all collapsed, in place of what the control shows.
void show(wxDataViewCtrl& control, PackagesViewbase& view, GridRows rows);
void show_nothing(wxDataViewCtrl& control);

/// Expands the `changed` package rows that are in `expanded` and collapses the other changed ones,
/// without events. Rows that are not shown are left out. `expanded` holds all that are expanded
/// from now on.
void set_expanded(wxDataViewCtrl& control, std::span<const PackageId> changed,
                  const std::set<PackageId>& expanded);

/// Scrolls and expands until the row is in sight.
void make_visible(wxDataViewCtrl& control, const wxDataViewItem& item);
/// Moves the cursor and the selection to the row, which scrolls until it is in sight.
void set_current(wxDataViewCtrl& control, const wxDataViewItem& item);
/// Scrolls so that the row is the first one in sight, as far as there are rows below it.
void scroll_to_top(wxDataViewCtrl& control, const wxDataViewItem& item);

/// Where a cell of a row is, or without a column the row; empty for one that is out of sight.
wxRect rect_of(const wxDataViewCtrl& control, const wxDataViewItem& item,
               const wxDataViewColumn* column);

/// Marks the header of a column as the one that the rows are sorted by; nullopt removes the mark.
void mark_sorted(wxDataViewColumn& column, std::optional<bool> ascending);

/// Prepares a control whose columns have been added. Assistive technology gets `name` for the
/// control and, for every row, the text and the box that are drawn in `column`. Typed letters go to
/// the program, not to a search of the system's own.
void set_up(wxDataViewCtrl& control, wxDataViewColumn& column, const char* name);

}  // namespace zendro::packages_ui::native_tree
