// What needs what among the wanted versions of a selection, the way its plan sees it.
#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <unordered_map>
#include <utility>
#include <vector>

#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

/// Made for a selection as it is, and of use until that changes.
///
/// A version that is to be installed needs what the install follows its references to; one that is
/// installed needs the installed ones that an uninstall would not let go because of it.
class Dependants {
 public:
  explicit Dependants(const Selection& selection);

  /// The wanted ones of `rows` with all that needs them, directly or through others. Ascending.
  [[nodiscard]] std::vector<RowId> with_dependants(std::span<const RowId> rows) const;
  /// The wanted versions that `removed`, which are not wanted any more, referenced, directly or
  /// through each other, and that nothing else needs. Ascending.
  [[nodiscard]] std::vector<RowId> left_unused(std::span<const RowId> removed) const;

 private:
  /// Versions need each other through requests of the plan and through texts of references: many
  /// versions share one of those, so that going through it once saves comparing each with each.
  struct Node {
    enum class Kind : std::uint8_t { version, request, text };
    Kind kind;
    std::size_t number;  ///< row, place in the available list, or number of the text
    bool operator<(const Node& other) const {
      return std::pair(kind, number) < std::pair(other.kind, other.number);
    }
  };

  [[nodiscard]] static Node version_node(RowId row) { return {Node::Kind::version, row}; }
  [[nodiscard]] static RowId row_of(const Node& node) { return static_cast<RowId>(node.number); }

  [[nodiscard]] std::vector<Node> users_of(const Node& node) const;
  [[nodiscard]] std::vector<Node> users_of_version(RowId row) const;
  [[nodiscard]] std::vector<Node> users_of_request(pkg::list_position place) const;
  [[nodiscard]] std::vector<Node> users_of_text(std::size_t text) const;
  [[nodiscard]] std::set<RowId> used_by(std::span<const RowId> removed) const;
  void add_used_by(RowId row, std::vector<bool>& passed, std::vector<RowId>& used) const;
  [[nodiscard]] RowId standing_in(RowId available) const;

  const Selection& selection_;
  const PackageTable& table_;
  /// By requested place of the available list: the requests that reference it.
  std::unordered_map<pkg::list_position, std::vector<pkg::list_position>> referrers_;
};

}  // namespace zendro::packages_ui
