// Unticking: what has to go along, and what nobody needs any more.
#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

#include "packages_ui/selection.h"

namespace zendro::packages_ui {

void Selection::untick(std::span<const RowId> rows) {
  const std::vector<RowId> removed = with_dependants(rows);
  if (removed.empty()) return;

  std::vector<RowId> dependants;
  std::set_difference(removed.begin(), removed.end(), rows.begin(), rows.end(),
                      std::back_inserter(dependants));
  if (!dependants.empty() && !questions_.remove_dependants(texts(dependants))) return;
  uncheck(removed);

  const std::vector<RowId> unused = left_unused(removed);
  if (!unused.empty() && questions_.remove_used_by(texts(unused))) uncheck(unused);
  parent_.selection_changed();
}

// The checked ones of `rows` (ascending) with all that was ticked for them, ascending.
std::vector<RowId> Selection::with_dependants(std::span<const RowId> rows) const {
  std::vector<RowId> found;
  std::unordered_set<RowId> seen;
  const auto add = [&](RowId row) {
    if (rows_[row].checked && seen.insert(row).second) found.push_back(row);
  };
  for (const RowId row : rows) add(row);
  for (std::size_t i = 0; i < found.size(); ++i) {
    for (const RowId dependant : rows_[found[i]].referenced_by) add(dependant);
  }
  std::sort(found.begin(), found.end());
  return found;
}

// The checked versions that `removed` referenced and that no checked version references any more;
// with them those that only they reference, and so on. Ascending.
std::vector<RowId> Selection::left_unused(std::span<const RowId> removed) const {
  std::vector<RowId> unused;
  std::unordered_map<RowId, std::uint32_t> lost_users;
  for (const RowId row : removed) {
    for (const RowId reference : table_->references(row)) {
      if (rows_[reference].checked && users_[reference] == 0 &&
          lost_users.try_emplace(reference, 0).second) {
        unused.push_back(reference);
      }
    }
  }
  for (std::size_t i = 0; i < unused.size(); ++i) {
    const RowId row = unused[i];
    for (const RowId reference : table_->references(row)) {
      if (!rows_[reference].checked || users_[reference] == 0) continue;
      if (++lost_users[reference] == users_[reference]) unused.push_back(reference);
    }
  }
  std::sort(unused.begin(), unused.end());
  return unused;
}

void Selection::uncheck(std::span<const RowId> rows) {
  for (const RowId row : rows) {
    rows_[row].checked = false;
    rows_[row].referenced_by.clear();
    for (const RowId reference : table_->references(row)) {
      --users_[reference];
      rows_[reference].referenced_by.erase(row);
    }
  }
  ++untick_count_;
}

}  // namespace zendro::packages_ui
