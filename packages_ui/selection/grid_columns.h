// The columns of the grid. A new one is an enumerator here and a definition in the table of
// grid_columns.cpp; the grid, its cells and its sorting read everything else from there.
#pragma once

#include <span>
#include <string>

#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

/// The columns from left to right, numbered from 0 on as the toolkit knows them; the last
/// enumerator is their number.
enum class GridColumn : unsigned int { name, title, state, publisher, count };

constexpr unsigned int number_of(GridColumn column) { return static_cast<unsigned int>(column); }

/// The column that shows the box, the picture and the expander of a row before its text.
inline constexpr GridColumn kBoxColumn = GridColumn::name;

struct ColumnDefinition {
  GridColumn id;
  std::wstring (*caption)();
  int width;  ///< to begin with, in device-independent pixels
  /// The text of a package row. Packages are sorted by it.
  std::wstring (*package_text)(const Selection& selection, PackageId package);
  /// The text of a version row.
  std::wstring (*version_text)(const Selection& selection, RowId row);
};

/// All columns from left to right.
std::span<const ColumnDefinition> grid_columns();

inline const ColumnDefinition& definition_of(GridColumn column) {
  return grid_columns()[number_of(column)];
}

}  // namespace zendro::packages_ui
