#include "packages_ui/package_order.h"

#include <algorithm>
#include <numeric>
#include <string>

#include "packages_ui/fold_case.h"
#include "packages_ui/row_text.h"

namespace zendro::packages_ui {
namespace {

std::wstring sort_text(const Selection& selection, PackageId package, SortColumn column) {
  const PackageTable& table = selection.table();
  switch (column) {
    case SortColumn::name:
      return table.name(package);
    case SortColumn::title:
      return table.title(table.representative(package));
    case SortColumn::state:
      return package_state_words(selection, package);
    case SortColumn::publisher:
      return table.publisher(table.representative(package));
  }
  return {};
}

}  // namespace

std::optional<SortOrder> next_order(std::optional<SortOrder> order, SortColumn clicked) {
  if (!order || order->column != clicked) return SortOrder{clicked};
  if (order->ascending) return SortOrder{clicked, false};
  return std::nullopt;
}

std::vector<PackageId> sorted_packages(const Selection& selection, std::optional<SortOrder> order) {
  std::vector<PackageId> packages(selection.table().package_count());
  std::iota(packages.begin(), packages.end(), PackageId{0});
  if (!order) return packages;
  std::vector<std::wstring> texts;
  texts.reserve(packages.size());
  for (const PackageId package : packages) {
    texts.push_back(fold_case(sort_text(selection, package, order->column)));
  }
  std::stable_sort(packages.begin(), packages.end(), [&](PackageId left, PackageId right) {
    return order->ascending ? texts[left] < texts[right] : texts[right] < texts[left];
  });
  return packages;
}

}  // namespace zendro::packages_ui
