// The tree control of the system below the toolkit's data view control.
//
// The toolkit answers every question of the control for a row by searching through the rows, so
// that tens of thousands of packages cost seconds to show or to expand. Here the rows answer
// themselves. Window thread only.
#pragma once

#include <optional>
#include <span>

#include <wx/dataview.h>

#include "packages_ui/grid_rows.h"
#include "packages_ui/packages_viewbase.h"

namespace zendro::packages_ui::native_tree {

/// Shows the view with these rows, all collapsed, in place of what the control shows.
void show(wxDataViewCtrl& control, PackagesViewbase& view, GridRows rows);
void show_nothing(wxDataViewCtrl& control);

/// Makes an item known to the toolkit, which is needed for one that the control has not handed out
/// itself.
void introduce(wxDataViewCtrl& control, const wxDataViewItem& item);

/// Expands or collapses package rows that are shown, without events.
void expand(wxDataViewCtrl& control, std::span<const PackageId> packages);
void collapse(wxDataViewCtrl& control, std::span<const PackageId> packages);

/// Scrolls and expands until the row is in sight.
void make_visible(wxDataViewCtrl& control, const wxDataViewItem& item);
/// Moves the cursor and the selection to the row, which scrolls until it is in sight.
void set_current(wxDataViewCtrl& control, const wxDataViewItem& item);
/// Scrolls so that the row is the first one in sight, as far as there are rows below it.
void scroll_to_top(wxDataViewCtrl& control, const wxDataViewItem& item);

/// Marks the header of a column as the one that the rows are sorted by, or takes the mark away.
void mark_sorted(wxDataViewColumn& column, std::optional<bool> ascending);

/// Gives assistive technology the name of the control, and the text and the box of every row; the
/// toolkit draws them in `column` without telling what they are.
void make_accessible(wxDataViewCtrl& control, wxDataViewColumn& column, const char* name);

/// Switches off what the system's control would do with letters.
void disable_own_search(wxDataViewCtrl& control);

}  // namespace zendro::packages_ui::native_tree
