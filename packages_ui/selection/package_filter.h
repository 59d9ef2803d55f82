// Finds versions by a text in their names, titles and descriptions.
//
// The texts are prepared when the first search needs them. Used by one thread; the table outlives
// the filter.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "packages_ui/selection/package_table.h"

namespace zendro::packages_ui {

class PackageFilter {
 public:
  explicit PackageFilter(const PackageTable& table) : table_(table) {}

  /// The versions whose name, title or description contains the text, ascending, without regard
  /// to case. An empty text is contained in all. Only the first 10,000 bytes of a title or
  /// description are searched. Where all texts together are very long, the later versions are
  /// found by their names only.
  [[nodiscard]] std::vector<RowId> matches(std::wstring_view text) const;

 private:
  void prepare() const;

  const PackageTable& table_;
  /// The texts of all rows, each followed by a line break, which no text contains itself.
  mutable std::string texts_;
  mutable std::vector<std::size_t> ends_;  ///< by row: where its texts end
};

}  // namespace zendro::packages_ui
