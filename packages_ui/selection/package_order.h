// The order of the packages in the grid.
#pragma once

#include <optional>
#include <vector>

#include "packages_ui/selection/grid_columns.h"
#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

struct SortOrder {
  GridColumn column;
  bool ascending = true;
  bool operator==(const SortOrder&) const = default;
};

/// The order after a click on the header of a column. The first click on a column sorts by it
/// ascending, the second one descending, the third one returns to package order (nullopt).
std::optional<SortOrder> next_order(std::optional<SortOrder> order, GridColumn clicked);

/// All packages in this order, nullopt being package order. Texts are compared without regard to
/// case; packages whose texts are equal stay in package order.
std::vector<PackageId> sorted_packages(const Selection& selection, std::optional<SortOrder> order);

}  // namespace zendro::packages_ui
