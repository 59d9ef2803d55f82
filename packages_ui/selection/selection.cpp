#include "packages_ui/selection/selection.h"

#include <utility>

#include "app/options/package_types.h"
#include "msg/shown.h"

namespace zendro::packages_ui {

Selection::Selection(std::unique_ptr<PackageTable> table, SelectionQuestions& questions,
                     ParentUI& parent)
    : table_(std::move(table)), questions_(questions), parent_(parent) {
  table_->set_problem_sink([this](const msg::Message& message) { parent_.report(message); });
  expanded_.resize(table_->package_count());
  mark_installed();
}

void Selection::mark_installed() {
  rows_.assign(table_->version_count(), {});
  replaced_.clear();
  for (RowId row = 0; row < rows_.size(); ++row) {
    const pkg::version_view_t& version = table_->version(row);
    rows_[row].installed = version.installed;
    rows_[row].deprecated = version.deprecated;
    if (version.installed) keep_installed(row);
  }
  // Why an installed version was ticked is not stored: it counts as ticked for the installed
  // versions that reference it.
  for (const RowId row : table_->installed_rows()) {
    const auto& references = table_->planner().installed_references(table_->installed_place(row));
    for (const pkg::list_position found : references.found) {
      const RowId reference = table_->installed_rows()[found];
      if (reference != row) rows_[reference].referenced_by.insert(row);
    }
  }
  settle();
}

bool Selection::wanted(RowId row) const { return rows_[row].checked || patched_by(row) != kNoRow; }

RowId Selection::patched_by(RowId row) const {
  if (rows_[row].installed) return kNoRow;
  const RowId level = table_->installed_level(row);
  const bool is_target = level != kNoRow && rows_[level].patch == PatchState::chosen &&
                         table_->patch_for(level) == row;
  return is_target ? level : kNoRow;
}

RowId Selection::conflict_of(RowId row) const {
  const auto found = conflicts_.find(row);
  return found == conflicts_.end() ? kNoRow : found->second;
}

// Whether an installed level is not wanted because a newer one is.
bool Selection::is_replaced(RowId row) const {
  return !rows_[row].checked && replaced_.count(row) != 0;
}

// The patch state of an installed version that is checked and whose patch is not chosen. If the
// newer level is ticked beside it, there is nothing left to choose.
PatchState Selection::patch_to_choose(RowId row) const {
  const RowId patch = table_->patch_for(row);
  return patch == kNoRow || rows_[patch].checked ? PatchState::none : PatchState::available;
}

PackageCheck Selection::package_check(PackageId package) const {
  const PackageTable::Range range = table_->versions_of(package);
  std::size_t checked = 0;
  std::size_t choosable = 0;
  for (RowId row = range.first; row < range.end; ++row) {
    if (wanted(row)) ++checked;
    if (table_->choosable(row) && !is_replaced(row)) ++choosable;
  }
  if (checked == 0) return PackageCheck::none;
  return checked == choosable ? PackageCheck::all : PackageCheck::some;
}

void Selection::toggle_version(RowId row) {
  if (wanted(row)) {
    untick({&row, 1});
  } else if (is_replaced(row)) {
    std::vector<RowId> newer;
    const RowId end = table_->versions_of(table_->package_of(row)).end;
    for (RowId level = row + 1; level < end && table_->installed_level(level) == row; ++level) {
      newer.push_back(level);
    }
    untick(newer);
  } else {
    tick(row);
  }
}

void Selection::toggle_package(PackageId package) {
  const PackageTable::Range range = table_->versions_of(package);
  std::vector<RowId> rows;
  for (RowId row = range.first; row < range.end; ++row) {
    if (table_->choosable(row)) rows.push_back(row);
  }
  if (rows.empty()) return;
  if (package_check(package) == PackageCheck::all) {
    untick(rows);
    return;
  }

  if (rows.size() > 1) {
    const RowId latest = table_->latest(package);
    switch (questions_.latest_all_cancel()) {
      case VersionsAnswer::cancel:
        return;
      case VersionsAnswer::latest:
        // The latest is the newest one in the store; a newer one may merely be installed.
        rows = {latest != kNoRow && table_->choosable(latest) ? latest : rows.back()};
        break;
      case VersionsAnswer::all:
        break;
    }
  }
  for (const RowId row : rows) tick_own(row);
  settle();
  expanded_[package] = true;
  parent_.selection_changed();
}

void Selection::tick(RowId row) {
  if (!table_->choosable(row)) return;
  tick_own(row);
  settle();
  parent_.selection_changed();
}

void Selection::tick_own(RowId row) {
  if (!table_->choosable(row) || is_replaced(row)) return;
  if (wanted(row)) {
    rows_[row].referenced_by.clear();
  } else {
    want(row);
  }
}

void Selection::want(RowId row) {
  newly_wanted_.push_back(row);
  if (rows_[row].installed) {
    keep_installed(row);
    return;
  }
  const RowId level = table_->installed_level(row);
  if (level != kNoRow && table_->patch_for(level) == row) {
    rows_[level].checked = true;
    rows_[level].patch = PatchState::chosen;
  } else {
    rows_[row].checked = true;
  }
}

void Selection::want_for(RowId row, RowId referrer) {
  want(row);
  if (referrer != kNoRow) rows_[row].referenced_by.insert(referrer);
}

void Selection::keep_installed(RowId row) {
  rows_[row].checked = true;
  rows_[row].patch = patch_to_choose(row);
}

void Selection::choose_patch(RowId row) {
  if (rows_[row].patch != PatchState::available) return;
  want(table_->patch_for(row));
  settle();
  parent_.selection_changed();
}

void Selection::choose_all_patches() {
  for (const RowId row : table_->installed_rows()) {
    if (rows_[row].patch == PatchState::available) want(table_->patch_for(row));
  }
  settle();
  parent_.selection_changed();
}

void Selection::deselect_all() {
  for (VersionRow& row : rows_) {
    row.checked = false;
    row.patch = PatchState::none;
    row.referenced_by.clear();
  }
  settle();
  parent_.selection_changed();
}

void Selection::reset() {
  mark_installed();
  parent_.selection_changed();
}

void Selection::preselect(std::span<const std::string> identities) {
  for (const std::string& identity : identities) {
    RowId row = table_->find_best(identity);
    // An installed version may have gone from the store.
    if (row == kNoRow) row = table_->find_version(pkg::parse_identity(identity));
    if (row == kNoRow || (!rows_[row].installed && !table_->version(row).available)) {
      msg::Message message;
      message.code = msg::Code::pkg_not_available;
      message.arguments = {{L"pkg", msg::shown(identity)},
                           {L"pkgtype", std::wstring(app::package_type(table_->type()).label)}};
      parent_.report(message);
      continue;
    }
    tick_own(row);
    expanded_[table_->package_of(row)] = true;
  }
  settle();
  parent_.selection_changed();
}

Wishes Selection::wishes() const {
  Wishes wishes;
  const auto name_of = [this](RowId row) { return table_->version(row).identity; };
  for (RowId row = 0; row < rows_.size(); ++row) {
    const VersionRow& version = rows_[row];
    if (version.checked && !version.installed) {
      wishes.ticked.push_back({name_of(row), {}});
      for (const RowId referrer : version.referenced_by) {
        wishes.ticked.back().referenced_by.push_back(name_of(referrer));
      }
    } else if (version.installed && !version.checked && !is_replaced(row)) {
      wishes.unticked.push_back(name_of(row));
    } else if (version.patch == PatchState::chosen) {
      wishes.patched.push_back(name_of(row));
    }
  }
  return wishes;
}

void Selection::restore(const Wishes& wishes) {
  std::vector<RowId> unticked;
  for (const pkg::name_semver_t& version : wishes.unticked) {
    const RowId row = table_->find_version(version);
    if (row != kNoRow && rows_[row].installed) unticked.push_back(row);
  }
  uncheck(unticked);  // in the order of the rows, which is the same in every table
  for (const pkg::name_semver_t& version : wishes.patched) {
    const RowId row = table_->find_version(version);
    if (row != kNoRow && rows_[row].patch == PatchState::available) want(table_->patch_for(row));
  }
  for (const Wishes::Tick& tick : wishes.ticked) {
    const RowId row = table_->find_version(tick.version);
    if (row == kNoRow || rows_[row].installed || !table_->choosable(row)) continue;
    rows_[row].checked = true;
    for (const pkg::name_semver_t& version : tick.referenced_by) {
      const RowId referrer = table_->find_version(version);
      if (referrer != kNoRow) rows_[row].referenced_by.insert(referrer);
    }
  }
  drop_unwanted_referrers();
  settle();
  parent_.selection_changed();
}

std::vector<std::wstring> Selection::texts_of(std::span<const RowId> rows) const {
  std::vector<std::wstring> result;
  result.reserve(rows.size());
  for (const RowId row : rows) result.push_back(table_->text(row));
  return result;
}

}  // namespace zendro::packages_ui
