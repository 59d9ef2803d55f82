#include "packages_ui/selection/grid_rows.h"

#include <algorithm>
#include <utility>

namespace zendro::packages_ui {

GridRows::GridRows(const PackageTable& table, std::span<const PackageId> order,
                   std::vector<RowId> versions)
    : versions_(std::move(versions)),
      ranges_(table.package_count()),
      positions_(table.package_count(), kNotShown) {
  RowId next = 0;
  for (PackageId package = 0; package < ranges_.size(); ++package) {
    ranges_[package].first = next;
    const RowId end = table.versions_of(package).end;
    while (next < versions_.size() && versions_[next] < end) ++next;
    ranges_[package].end = next;
  }
  packages_.reserve(order.size());
  for (const PackageId package : order) {
    if (ranges_[package].size() == 0) continue;
    positions_[package] = packages_.size();
    packages_.push_back(package);
  }
}

std::span<const RowId> GridRows::versions(PackageId package) const {
  if (package >= ranges_.size()) return {};
  return std::span(versions_).subspan(ranges_[package].first, ranges_[package].size());
}

std::size_t GridRows::position(PackageId package) const {
  return package < positions_.size() ? positions_[package] : kNotShown;
}

std::size_t GridRows::position(PackageId package, RowId row) const {
  const std::span<const RowId> shown = versions(package);
  const auto found = std::lower_bound(shown.begin(), shown.end(), row);
  if (found == shown.end() || *found != row) return kNotShown;
  return static_cast<std::size_t>(found - shown.begin());
}

}  // namespace zendro::packages_ui
