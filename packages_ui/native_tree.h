// The tree control of the system below the toolkit's data view control.
//
// The toolkit answers many a question for a row by searching through the rows, so that tens of
// thousands of packages cost seconds to show or to expand. Here they do not. Window thread only.
#pragma once

#include <optional>
#include <set>
#include <span>

#include <wx/dataview.h>

#include "packages_ui/grid_rows.h"
#include "packages_ui/packages_viewbase.h"

namespace zendro::packages_ui::native_tree {

/// Shows the view with these rows, all collapsed, in place of what the control shows.
void show(wxDataViewCtrl& control, PackagesViewbase& view, GridRows rows);
void show_nothing(wxDataViewCtrl& control);

/// Expands those of the `changed` package rows that are in `expanded` and collapses the others, as
/// far as they are shown, without events. `expanded` holds all that are expanded from now on.
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

/// Marks the header of a column as the one that the rows are sorted by, or takes the mark away.
void mark_sorted(wxDataViewColumn& column, std::optional<bool> ascending);

/// Prepares a control whose columns are in place: assistive technology gets the name of the
/// control, and the text and the box of every row, which the toolkit draws in `column`; letters are
/// left to the program.
void set_up(wxDataViewCtrl& control, wxDataViewColumn& column, const char* name);

}  // namespace zendro::packages_ui::native_tree
