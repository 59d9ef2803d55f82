// The package grid: a tree with one row per package and one child row per version.
//
// Draws the selection and forwards what the user does to it; no rule of ticking is decided here.
// Window thread only.
#pragma once

#include <functional>
#include <set>
#include <string>

#include <wx/dataview.h>
#include <wx/longlong.h>

#include "packages_ui/packages_viewbase.h"
#include "packages_ui/selection.h"

namespace zendro::packages_ui {

class PackagesRelDisp : public wxDataViewCtrl {
 public:
  /// `patch_caption` tells the caption of the Patch Selection button for datatips.
  PackagesRelDisp(wxWindow* parent, std::function<std::wstring()> patch_caption);

  /// Shows this selection, which outlives being shown. Rows that were expanded stay so, and the
  /// cursor stays on its row, where they still exist.
  void show(Selection& selection);
  void show_nothing();
  /// The ticks have changed.
  void selection_changed();
  /// While locked, the user can look but not change anything.
  void set_locked(bool locked) { locked_ = locked; }

  /// Toggles the row under the cursor.
  void toggle_current();
  /// The popup menu of the grid, at the mouse or, asked for by key, at the cursor.
  void OwnPopupMenu();

 private:
  void add_columns();
  void toggle(const wxDataViewItem& item);
  void choose_patch(const wxDataViewItem& item);
  void expand_all();
  void collapse_all();
  void expand_selected();
  void collapse_unselected();
  template <typename Visit>
  void for_each_package(Visit visit);
  void remember_expansion(const wxDataViewItem& item, bool expanded);
  void restore_place(const std::wstring& current);
  [[nodiscard]] std::wstring row_text(const wxDataViewItem& item) const;
  void update_datatip(wxMouseEvent& event);

  std::function<std::wstring()> patch_caption_;
  Selection* selection_ = nullptr;
  bool locked_ = false;
  bool changing_ = false;            ///< a change is under way and perhaps waits for an answer
  std::set<std::wstring> expanded_;  ///< names of the packages whose versions are shown
  wxDataViewItem datatip_item_;
  wxDataViewItem toggled_item_;  ///< by the mouse
  wxLongLong toggled_at_;        ///< in milliseconds
};

}  // namespace zendro::packages_ui
