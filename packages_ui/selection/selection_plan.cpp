// Making the ticks agree with the plan: what Apply would leave installed is what is ticked.
#include <algorithm>

#include "packages_ui/selection/selection.h"

namespace zendro::packages_ui {
namespace {

// Each round ticks what the plan of the ticks needs, which may need more in turn. A few rounds are
// enough; the bound ends a circle that odd metadata may lead to.
constexpr int kMostRounds = 64;

}  // namespace

void Selection::settle() {
  for (int round = 0; round < kMostRounds; ++round) {
    plan_ = table_->planner().plan(wanted_changes());
    note_replaced();
    bool changed = adopt_needs();
    changed |= adopt_kept();
    changed |= adopt_levels();
    if (!changed) break;
  }
  note_referrers();
  drop_unwanted_referrers();
  conflicts_.clear();
  for (const pkg::conflict_t& conflict : plan_.conflicts) {
    conflicts_.emplace(table_->row_of(*conflict.package), table_->row_of(*conflict.other));
  }
}

pkg::changes_t Selection::wanted_changes() const {
  pkg::changes_t changes;
  for (const RowId row : table_->installed_rows()) {
    if (!rows_[row].checked) {
      changes.remove.push_back(table_->installed_place(row));
    } else if (rows_[row].patch == PatchState::chosen) {
      changes.install.push_back(table_->available_place(table_->patch_for(row)));
    }
  }
  for (RowId row = 0; row < rows_.size(); ++row) {
    if (rows_[row].checked && !rows_[row].installed) {
      changes.install.push_back(table_->available_place(row));
    }
  }
  std::sort(changes.install.begin(), changes.install.end());
  return changes;
}

// Remembers which installed levels newer ones replace, other than those that stay beside them.
void Selection::note_replaced() {
  replaced_.clear();
  for (const pkg::replacement_t& replacement : plan_.replaced) {
    replaced_.insert(table_->row_of(*replacement.old_level));
  }
  for (const pkg::kept_package_t& level : plan_.kept_levels) {
    replaced_.erase(table_->row_of(*level.package));
  }
}

// Ticks what the versions to be installed need. Like the next two, returns whether the plan has to
// be made again.
bool Selection::adopt_needs() {
  bool changed = false;
  for (const pkg::request_t& request : plan_.requests) {
    const RowId needed = table_->row_of(*request.package);
    const RowId level = table_->installed_level(needed);
    const RowId row = level != kNoRow && level >= needed ? level : needed;
    // An older level that a newer one replaces is left to adopt_levels().
    if (wanted(row) || replaced_.count(row) != 0) continue;
    want_for(row, request.needed_by == nullptr ? kNoRow : table_->row_of(*request.needed_by));
    // A version of a line that is not installed is in the plan already, with all that it needs.
    changed |= level != kNoRow;
  }
  return changed;
}

// Ticks what cannot be removed because packages that stay reference it.
bool Selection::adopt_kept() {
  for (const pkg::kept_package_t& kept : plan_.kept) {
    want_for(table_->row_of(*kept.package), table_->row_of(*kept.referrer));
  }
  return !plan_.kept.empty();
}

// Where a newer level is installed, unticks the old one, or ticks it if it has to stay beside it.
bool Selection::adopt_levels() {
  bool changed = false;
  for (const pkg::kept_package_t& level : plan_.kept_levels) {
    const RowId row = table_->row_of(*level.package);
    if (rows_[row].checked && rows_[row].patch == PatchState::none) continue;
    changed |= !rows_[row].checked || rows_[row].patch == PatchState::chosen;
    if (rows_[row].patch == PatchState::chosen) rows_[table_->patch_for(row)].checked = true;
    rows_[row].checked = true;
    rows_[row].patch = patch_to_choose(row);
  }
  for (const RowId row : replaced_) {
    const RowId patch = table_->patch_for(row);
    if (patch != kNoRow && rows_[patch].checked) {
      rows_[patch].checked = false;
      rows_[row].checked = true;
      rows_[row].patch = PatchState::chosen;
      changed = true;
    } else if (rows_[row].checked && rows_[row].patch != PatchState::chosen) {
      rows_[row].checked = false;
      rows_[row].patch = PatchState::none;
      rows_[row].referenced_by.clear();
      changed = true;
    }
  }
  return changed;
}

// Adds the newly ticked versions to those that their references were ticked for. A version that the
// user ticked has no such list.
void Selection::note_referrers() {
  const auto note = [this](RowId referrer, RowId target) {
    const RowId level = table_->installed_level(target);
    const RowId row = level != kNoRow && level > target ? level : target;
    if (row == referrer || !wanted(row) || rows_[row].referenced_by.empty()) return;
    rows_[row].referenced_by.insert(referrer);
  };
  for (const RowId row : newly_wanted_) {
    if (!wanted(row)) continue;
    if (rows_[row].installed) {
      const auto place = table_->installed_place(row);
      for (const auto found : table_->planner().installed_references(place).found) {
        note(row, table_->installed_rows()[found]);
      }
    } else {
      const auto place = table_->available_place(row);
      for (const auto found : table_->planner().references(place).found) {
        note(row, table_->available_rows()[found]);
      }
    }
  }
  newly_wanted_.clear();
}

}  // namespace zendro::packages_ui
