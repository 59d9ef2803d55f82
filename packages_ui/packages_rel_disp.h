// The package grid: a tree with one row per package and one child row per version.
//
// Draws the selection and forwards what the user does to it; no rule of ticking is decided here.
// Window thread only.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <wx/dataview.h>
#include <wx/longlong.h>
#include <wx/object.h>

#include "packages_ui/packages_viewbase.h"
#include "packages_ui/selection/package_filter.h"
#include "packages_ui/selection/package_order.h"
#include "packages_ui/selection/selection.h"
#include "packages_ui/selection/type_ahead.h"

namespace zendro::packages_ui {

class PackagesRelDisp : public wxDataViewCtrl {
 public:
  /// `patch_caption` tells the caption of the Patch Selection button for datatips.
  PackagesRelDisp(wxWindow* parent, wxWindowID id, std::function<std::wstring()> patch_caption);

  /// Shows this selection, sorted and filtered as before; it outlives being shown. Rows that still
  /// exist stay expanded, in sight and under the cursor.
  void show(Selection& selection);
  void show_nothing();
  /// The ticks have changed.
  void selection_changed();
  /// While locked, the user can look but not change anything.
  void set_locked(bool locked) { locked_ = locked; }
  /// Shows only versions that contain the text, see PackageFilter, and their packages.
  void set_filter(std::wstring text);

  /// Toggles the row under the cursor.
  void toggle_current();
  /// The commands of the popup menu.
  void expand_all();
  void collapse_all();
  void expand_selected();
  void collapse_unselected();
  /// The popup menu of the grid, at the mouse or, asked for by key, at the cursor.
  void OwnPopupMenu();

  void EnsureVisible(const wxDataViewItem& item, const wxDataViewColumn* column = nullptr) override;
  wxRect GetItemRect(const wxDataViewItem& item,
                     const wxDataViewColumn* column = nullptr) const override;

 private:
  /// A row by its name, which stays the same when the packages are loaded again.
  struct RowName {
    std::string package;
    std::optional<pkg::semver_t> version;
  };
  /// Where the user is: the row under the cursor and the first row in sight.
  struct ViewPosition {
    wxDataViewItem current;
    wxDataViewItem top;
  };

  void add_columns();
  void bind_events();
  void toggle(const wxDataViewItem& item);
  void on_activated(wxDataViewEvent& event);
  void sort_by(GridColumn column);
  void mark_sorted_column();

  [[nodiscard]] ViewPosition view_position() const;
  void show_rows(const ViewPosition& position);
  [[nodiscard]] wxDataViewItem nearest_shown(const wxDataViewItem& item) const;
  [[nodiscard]] std::optional<RowName> name_of(const wxDataViewItem& item) const;
  [[nodiscard]] wxDataViewItem find(const std::optional<RowName>& name) const;

  void on_char(wxKeyEvent& event);
  void go_to(const wxDataViewItem& item);
  void collapse_current();
  [[nodiscard]] std::vector<PackageId> packages_shown() const;
  /// Those of them that have a checked version, or those that have none.
  [[nodiscard]] std::vector<PackageId> packages_where(bool any_checked) const;
  void expand(std::vector<PackageId> packages);
  void collapse(std::vector<PackageId> packages);
  /// Gives the row under the pointer its tip.
  void update_datatip();

  std::function<std::wstring()> patch_caption_;
  Selection* selection_ = nullptr;
  wxObjectDataPtr<PackagesViewbase> view_;
  std::optional<SortOrder> sort_order_;
  std::vector<PackageId> order_;
  std::wstring filter_text_;
  std::unique_ptr<PackageFilter> filter_;
  std::set<PackageId> expanded_;  ///< also of those that are filtered out
  TypeAhead type_ahead_;
  bool locked_ = false;
  bool changing_ = false;  ///< a change is under way, perhaps with a question open
  wxDataViewItem datatip_item_;
  wxDataViewItem toggled_item_;  ///< by the mouse
  wxLongLong toggled_at_;        ///< in milliseconds
};

}  // namespace zendro::packages_ui
