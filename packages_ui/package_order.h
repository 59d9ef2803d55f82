// The order of the packages in the grid.
#pragma once

#include <optional>
#include <vector>

#include "packages_ui/selection.h"

namespace zendro::packages_ui {

enum class SortColumn { name, title, state, publisher };

struct SortOrder {
  SortColumn column;
  bool ascending = true;
  bool operator==(const SortOrder&) const = default;
};

/// The order after a click on the header of a column: by it, then the other way round, then
/// package order, which is nothing.
std::optional<SortOrder> next_order(std::optional<SortOrder> order, SortColumn clicked);

/// All packages in this order. Texts are compared without regard to case; where they are equal,
/// packages stay in package order.
std::vector<PackageId> sorted_packages(const Selection& selection, std::optional<SortOrder> order);

}  // namespace zendro::packages_ui
