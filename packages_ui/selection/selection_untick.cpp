// Unticking: what has to go along, and what nothing needs any more.
#include <algorithm>
#include <iterator>

#include "packages_ui/selection/dependants.h"
#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {

void Selection::untick(std::span<const RowId> rows) {
  const std::vector<RowId> removed = Dependants(*this).with_dependants(rows);
  if (removed.empty()) return;

  std::vector<RowId> dependants;
  std::set_difference(removed.begin(), removed.end(), rows.begin(), rows.end(),
                      std::back_inserter(dependants));
  std::erase_if(dependants, [&](RowId row) {
    const RowId patched = patched_by(row);
    return patched != kNoRow && std::binary_search(removed.begin(), removed.end(), patched);
  });
  if (!dependants.empty() && !questions_.remove_dependants(texts_of(dependants))) return;
  uncheck(removed);
  settle();

  const std::vector<RowId> unused = Dependants(*this).left_unused(removed);
  if (!unused.empty() && questions_.remove_used_by(texts_of(unused))) {
    uncheck(unused);
    settle();
  }
  parent_.selection_changed();
}

// `rows` is ascending.
void Selection::uncheck(std::span<const RowId> rows) {
  const auto is_unchecked = [rows](RowId row) {
    return std::binary_search(rows.begin(), rows.end(), row);
  };
  for (const RowId row : rows) {
    // When a newer level is unticked, the installed one that it would have replaced stays.
    const RowId level = rows_[row].installed ? kNoRow : table_->installed_level(row);
    rows_[row].checked = false;
    rows_[row].patch = PatchState::none;
    if (level == kNoRow || is_unchecked(level)) continue;
    if (rows_[level].checked || replaced_.count(level) != 0) keep_installed(level);
  }
  drop_unwanted_referrers();
}

// Versions that are not wanted need nothing and are needed by nothing.
void Selection::drop_unwanted_referrers() {
  for (RowId row = 0; row < rows_.size(); ++row) {
    std::set<RowId>& referrers = rows_[row].referenced_by;
    if (referrers.empty()) continue;
    if (wanted(row)) {
      std::erase_if(referrers, [this](RowId referrer) { return !wanted(referrer); });
    } else {
      referrers.clear();
    }
  }
}

}  // namespace zendro::packages_ui
