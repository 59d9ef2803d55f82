// Which rows the grid shows, and in what order: packages in any order, versions always ascending.
//
// No query goes through all rows.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "packages_ui/selection/package_table.h"

namespace zendro::packages_ui {

class GridRows {
 public:
  static constexpr std::size_t kNotShown = static_cast<std::size_t>(-1);

  /// Shows nothing.
  GridRows() = default;
  /// Shows these versions, which are ascending, below their packages; a package without any is left
  /// out. `order` holds every package of the table once.
  GridRows(const PackageTable& table, std::span<const PackageId> order,
           std::vector<RowId> versions);

  [[nodiscard]] std::span<const PackageId> packages() const { return packages_; }
  /// The versions shown below a package.
  [[nodiscard]] std::span<const RowId> versions(PackageId package) const;
  /// Where the package stands among the packages; kNotShown where it does not.
  [[nodiscard]] std::size_t position(PackageId package) const;
  /// Where the version stands below its package; kNotShown where it does not.
  [[nodiscard]] std::size_t position(PackageId package, RowId row) const;

 private:
  std::vector<PackageId> packages_;
  std::vector<RowId> versions_;
  std::vector<PackageTable::Range> ranges_;  ///< by package: its part of versions_
  std::vector<std::size_t> positions_;       ///< by package
};

}  // namespace zendro::packages_ui
