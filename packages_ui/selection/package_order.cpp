#include "packages_ui/selection/package_order.h"

#include <algorithm>
#include <numeric>
#include <string>

#include "packages_ui/selection/fold_case.h"

namespace zendro::packages_ui {

std::optional<SortOrder> next_order(std::optional<SortOrder> order, GridColumn clicked) {
  if (!order || order->column != clicked) return SortOrder{clicked};
  if (order->ascending) return SortOrder{clicked, false};
  return std::nullopt;
}

std::vector<PackageId> sorted_packages(const Selection& selection, std::optional<SortOrder> order) {
  std::vector<PackageId> packages(selection.table().package_count());
  std::iota(packages.begin(), packages.end(), PackageId{0});
  if (!order) return packages;
  const auto text_of = definition_of(order->column).package_text;
  std::vector<std::wstring> texts;
  texts.reserve(packages.size());
  for (const PackageId package : packages) {
    texts.push_back(fold_case(text_of(selection, package)));
  }
  std::stable_sort(packages.begin(), packages.end(), [&](PackageId left, PackageId right) {
    return order->ascending ? texts[left] < texts[right] : texts[right] < texts[left];
  });
  return packages;
}

}  // namespace zendro::packages_ui
