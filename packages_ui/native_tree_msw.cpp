#include <algorithm>
#include <vector>

#include <wx/access.h>
#include <wx/event.h>
#include <wx/settings.h>

#include "packages_ui/native_tree.h"
#include "packages_ui/selection/grid_columns.h"

namespace zendro::packages_ui::native_tree {
namespace {

// Here the toolkit's control draws itself. It finds a row by going through the packages before it,
// which is quick for a few rows and much too slow for tens of thousands.
constexpr std::size_t kFewRows = 200;

PackagesViewbase* view_of(const wxDataViewCtrl& control) {
  return dynamic_cast<PackagesViewbase*>(const_cast<wxDataViewModel*>(control.GetModel()));
}

wxDataViewItem item_of_row(const wxDataViewCtrl& control, unsigned row) {
  struct Opened : wxDataViewCtrl {
    using wxDataViewCtrl::GetItemByRow;
  };
  return (control.*&Opened::GetItemByRow)(row);
}

// Keeps the toolkit from making an event of every row that is expanded or collapsed.
class WithoutEvents {
 public:
  explicit WithoutEvents(wxDataViewCtrl& control)
      : blocker_(&control, wxEVT_DATAVIEW_ITEM_EXPANDING) {
    blocker_.Block(wxEVT_DATAVIEW_ITEM_EXPANDED);
    blocker_.Block(wxEVT_DATAVIEW_ITEM_COLLAPSING);
    blocker_.Block(wxEVT_DATAVIEW_ITEM_COLLAPSED);
  }

 private:
  wxEventBlocker blocker_;
};

void expand_or_collapse(wxDataViewCtrl& control, std::span<const PackageId> packages,
                        const std::set<PackageId>& expanded) {
  for (const PackageId package : packages) {
    const wxDataViewItem item = PackagesViewbase::package_item(package);
    if (expanded.count(package) != 0) {
      control.Expand(item);
    } else {
      control.Collapse(item);
    }
  }
}

// Shows all rows again, the last package first. Each package is added before the others, so that
// the control finds it at once when it is expanded.
void show_expanded(wxDataViewCtrl& control, PackagesViewbase& view,
                   const std::set<PackageId>& expanded) {
  const std::span<const PackageId> packages = view.rows().packages();
  view.set_top_level({});
  view.Cleared();
  for (std::size_t index = packages.size(); index-- > 0;) {
    // Together with its successor, by which the control finds where to insert it.
    view.set_top_level(packages.subspan(index, std::min<std::size_t>(2, packages.size() - index)));
    const wxDataViewItem item = PackagesViewbase::package_item(packages[index]);
    view.ItemAdded(wxDataViewItem(), item);
    if (expanded.count(packages[index]) != 0) control.Expand(item);
  }
  view.set_top_level(packages);
}

// Every second row a little towards the text's colour: the toolkit's own choice is too light for
// text on a dark background.
void set_row_colours(wxDataViewCtrl& control) {
  constexpr double kShare = 0.04;
  const wxColour row = wxSystemSettings::GetColour(wxSYS_COLOUR_LISTBOX);
  const wxColour text = wxSystemSettings::GetColour(wxSYS_COLOUR_LISTBOXTEXT);
  const auto blend = [](unsigned char from, unsigned char to) {
    return wxColour::AlphaBlend(to, from, kShare);
  };
  control.SetAlternateRowColour(wxColour(blend(row.Red(), text.Red()),
                                         blend(row.Green(), text.Green()),
                                         blend(row.Blue(), text.Blue())));
}

// What assistive technology is told beyond what the toolkit knows: the control's name for people
// and the boxes of the rows.
class Accessible : public wxDataViewCtrlAccessible {
 public:
  Accessible(wxDataViewCtrl* control, const char* name)
      : wxDataViewCtrlAccessible(control), control_(control), name_(name) {}

  wxAccStatus GetName(int child, wxString* name) override {
    if (child != wxACC_SELF) return wxDataViewCtrlAccessible::GetName(child, name);
    *name = name_;
    return wxACC_OK;
  }

  // Children are the rows, counted from 1.
  wxAccStatus GetState(int child, long* state) override {
    const wxAccStatus status = wxDataViewCtrlAccessible::GetState(child, state);
    const PackagesViewbase* view = view_of(*control_);
    if (status != wxACC_OK || child == wxACC_SELF || view == nullptr) return status;
    const wxDataViewItem item = item_of_row(*control_, static_cast<unsigned>(child - 1));
    if (!item.IsOk()) return status;
    const wxCheckBoxState box = view->box_cell(item).GetCheckedState();
    if (box == wxCHK_CHECKED) *state |= wxACC_STATE_SYSTEM_CHECKED;
    if (box == wxCHK_UNDETERMINED) *state |= wxACC_STATE_SYSTEM_MIXED;
    if (!view->IsEnabled(item, number_of(kBoxColumn))) {
      *state |= wxACC_STATE_SYSTEM_UNAVAILABLE;
    }
    return status;
  }

 private:
  wxDataViewCtrl* control_;
  wxString name_;
};

}  // namespace

void show(wxDataViewCtrl& control, PackagesViewbase& view, GridRows rows) {
  view.set_rows(std::move(rows));
  if (control.GetModel() == &view) {
    view.Cleared();
  } else {
    control.AssociateModel(&view);
  }
  // Keys move from the current row. The toolkit sets one only when the control gets the focus.
  if (control.GetMainWindow()->HasFocus() && !view.rows().packages().empty()) {
    control.SetCurrentItem(PackagesViewbase::package_item(view.rows().packages().front()));
  }
}

void show_nothing(wxDataViewCtrl& control) {
  // The control keeps numbers of rows, which must not outlive the rows.
  if (PackagesViewbase* view = view_of(control)) {
    view->set_rows({});
    view->Cleared();
  }
  control.AssociateModel(nullptr);
}

void set_expanded(wxDataViewCtrl& control, std::span<const PackageId> changed,
                  const std::set<PackageId>& expanded) {
  PackagesViewbase* view = view_of(control);
  if (view == nullptr) return;
  const GridRows& rows = view->rows();
  const auto is_shown = [&rows](PackageId package) {
    return rows.position(package) != GridRows::kNotShown;
  };
  std::vector<PackageId> shown;
  std::copy_if(changed.begin(), changed.end(), std::back_inserter(shown), is_shown);
  const WithoutEvents without_events(control);
  if (shown.size() <= kFewRows) {
    expand_or_collapse(control, shown, expanded);
    return;
  }

  wxDataViewItem current = control.GetCurrentItem();
  const wxDataViewItem package_of_current = view->GetParent(current);
  if (const auto package = PackagesViewbase::package_of(package_of_current);
      package && expanded.count(*package) == 0) {
    current = package_of_current;
  }
  shown.clear();
  std::copy_if(expanded.begin(), expanded.end(), std::back_inserter(shown), is_shown);
  if (shown.size() <= kFewRows) {
    view->Cleared();
    expand_or_collapse(control, shown, expanded);
  } else {
    show_expanded(control, *view, expanded);
  }
  if (current.IsOk()) set_current(control, current);
}

void make_visible(wxDataViewCtrl& control, const wxDataViewItem& item) {
  control.wxDataViewCtrl::EnsureVisible(item);
}

void set_current(wxDataViewCtrl& control, const wxDataViewItem& item) {
  make_visible(control, item);
  control.SetCurrentItem(item);
  control.Select(item);
}

void scroll_to_top(wxDataViewCtrl& control, const wxDataViewItem& item) {
  make_visible(control, item);
  const int top_of_rows = control.GetMainWindow()->GetPosition().y;
  const int rows_above = control.GetItemRect(item).y - top_of_rows;  // in pixels
  int pixels_per_row = 0;
  control.GetScrollPixelsPerUnit(nullptr, &pixels_per_row);
  if (pixels_per_row == 0) return;
  int top_row = 0;
  control.GetViewStart(nullptr, &top_row);
  control.Scroll(-1, top_row + rows_above / pixels_per_row);
}

wxRect rect_of(const wxDataViewCtrl& control, const wxDataViewItem& item,
               const wxDataViewColumn* column) {
  return control.wxDataViewCtrl::GetItemRect(item, column);
}

void mark_sorted(wxDataViewColumn& column, std::optional<bool> ascending) {
  // The control then sorts by Compare(), which keeps the order of the rows.
  if (ascending) {
    column.SetSortOrder(*ascending);
  } else if (column.IsSortKey()) {
    column.UnsetAsSortKey();
  }
}

void set_up(wxDataViewCtrl& control, wxDataViewColumn&, const char* name) {
  control.SetAccessible(new Accessible(&control, name));
  set_row_colours(control);
  control.Bind(wxEVT_SYS_COLOUR_CHANGED, [&control](wxSysColourChangedEvent& event) {
    set_row_colours(control);
    event.Skip();
  });
}

}  // namespace zendro::packages_ui::native_tree
