// The rows of the grid in the form that the toolkit reads: an item view over the selection.
//
// Knows which rows are shown; every cell is read from the selection when it is drawn.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <wx/bmpbndl.h>
#include <wx/dataview.h>

#include "packages_ui/selection/grid_rows.h"
#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

class PackagesViewbase : public wxDataViewModel {
 public:
  /// `selection` outlives the view. `on_check` is called when the user clicks the box of a row.
  PackagesViewbase(const Selection& selection, std::function<void(const wxDataViewItem&)> on_check);

  /// Sets the rows to show. The control notices only when it is given the view again.
  void set_rows(GridRows rows);
  [[nodiscard]] const GridRows& rows() const { return rows_; }
  /// For adding packages to a control piece by piece: which of the shown packages it gets to know.
  /// After set_rows() it is all of them.
  void set_top_level(std::span<const PackageId> packages) { top_level_ = packages; }

  static wxDataViewItem package_item(PackageId package);
  static wxDataViewItem version_item(RowId row);
  /// The package of a package row; nothing for any other row.
  static std::optional<PackageId> package_of(const wxDataViewItem& item);
  /// The version of a version row; nothing for any other row.
  static std::optional<RowId> version_of(const wxDataViewItem& item);

  /// The box of a row with the picture and the text beside it.
  [[nodiscard]] wxDataViewCheckIconText box_cell(const wxDataViewItem& item) const;

  // Columns are numbered as in GridColumn.
  void GetValue(wxVariant& value, const wxDataViewItem& item, unsigned int column) const override;
  bool SetValue(const wxVariant& value, const wxDataViewItem& item, unsigned int column) override;
  /// Rows that cannot be ticked are grey.
  bool GetAttr(const wxDataViewItem& item, unsigned int column,
               wxDataViewItemAttr& attributes) const override;
  bool IsEnabled(const wxDataViewItem& item, unsigned int column) const override;
  wxDataViewItem GetParent(const wxDataViewItem& item) const override;
  bool IsContainer(const wxDataViewItem& item) const override;
  bool HasContainerColumns(const wxDataViewItem& item) const override;
  unsigned int GetChildren(const wxDataViewItem& item,
                           wxDataViewItemArray& children) const override;
  /// By their order in the grid, whatever the column and the direction.
  int Compare(const wxDataViewItem& one, const wxDataViewItem& other, unsigned int column,
              bool ascending) const override;

 private:
  ~PackagesViewbase() override = default;
  [[nodiscard]] wxString text_cell(const wxDataViewItem& item, unsigned int column) const;
  [[nodiscard]] wxBitmapBundle icon(std::string_view name) const;

  const Selection& selection_;
  GridRows rows_;
  std::span<const PackageId> top_level_;
  std::function<void(const wxDataViewItem&)> on_check_;
  mutable std::map<std::string_view, wxBitmapBundle> icons_;
};

}  // namespace zendro::packages_ui
