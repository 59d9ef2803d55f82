#include "packages_ui/selection.h"

#include <algorithm>
#include <utility>

#include "msg/utf.h"

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
  users_.assign(rows_.size(), 0);
  references_ticked_.assign(rows_.size(), 0);
  for (RowId row = 0; row < rows_.size(); ++row) {
    const pkg::version_view_t& version = table_->version(row);
    rows_[row].installed = version.installed;
    rows_[row].deprecated = version.deprecated;
    if (!version.installed) continue;
    check(row);
    if (table_->patch_for(row) != kNoRow) rows_[row].patch = PatchState::available;
  }
  // Nobody remembers why an installed version was ticked: it counts as ticked for the installed
  // versions that reference it, so that it is not removed from under them without a question.
  for (RowId row = 0; row < rows_.size(); ++row) {
    if (!rows_[row].checked) continue;
    for (const RowId reference : table_->references(row)) {
      if (rows_[reference].checked) rows_[reference].referenced_by.insert(row);
    }
  }
}

PackageCheck Selection::package_check(PackageId package) const {
  const PackageTable::Range range = table_->versions_of(package);
  std::size_t checked = 0;
  std::size_t choosable = 0;
  for (RowId row = range.first; row < range.end; ++row) {
    if (rows_[row].checked) ++checked;
    if (table_->choosable(row)) ++choosable;
  }
  if (checked == 0) return PackageCheck::none;
  return checked == choosable ? PackageCheck::all : PackageCheck::some;
}

void Selection::toggle_version(RowId row) {
  if (rows_[row].checked) {
    untick({&row, 1});
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
    switch (questions_.latest_all_cancel()) {
      case VersionsAnswer::cancel:
        return;
      case VersionsAnswer::latest:
        // A newer version that is merely still installed is not what an install would bring.
        rows = {table_->latest(package) != kNoRow ? table_->latest(package) : rows.back()};
        break;
      case VersionsAnswer::all:
        break;
    }
  }
  for (const RowId row : rows) tick_own(row);
  expanded_[package] = true;
  parent_.selection_changed();
}

void Selection::tick(RowId row) {
  if (!table_->choosable(row)) return;
  tick_own(row);
  parent_.selection_changed();
}

void Selection::tick_own(RowId row) {
  if (rows_[row].checked) {
    rows_[row].referenced_by.clear();
    return;
  }
  check(row);
  tick_references(row);
}

bool Selection::add_tick(RowId row, RowId referrer) {
  VersionRow& version = rows_[row];
  if (version.checked) {
    if (version.referenced_by.empty()) return false;
    return version.referenced_by.insert(referrer).second;
  }
  check(row);
  version.referenced_by.insert(referrer);
  return true;
}

void Selection::tick_references(RowId start) {
  // Depth first with a stack of our own: chains of references may be longer than the thread's
  // stack is deep.
  struct Visit {
    RowId referrer;
    std::size_t next;
  };
  references_ticked_[start] = untick_count_;
  std::vector<Visit> visits{{start, 0}};
  while (!visits.empty()) {
    const RowId referrer = visits.back().referrer;
    const std::span<const RowId> references = table_->references(referrer);
    if (visits.back().next == references.size()) {
      visits.pop_back();
      continue;
    }
    const RowId reference = references[visits.back().next++];
    if (add_tick(reference, referrer) && references_ticked_[reference] != untick_count_) {
      references_ticked_[reference] = untick_count_;
      visits.push_back({reference, 0});
    }
  }
}

void Selection::check(RowId row) {
  rows_[row].checked = true;
  for (const RowId reference : table_->references(row)) ++users_[reference];
}

void Selection::choose_patch(RowId row) {
  if (rows_[row].patch != PatchState::available) return;
  rows_[row].patch = PatchState::chosen;
  parent_.selection_changed();
}

void Selection::choose_all_patches() {
  for (VersionRow& row : rows_) {
    if (row.patch == PatchState::available) row.patch = PatchState::chosen;
  }
  parent_.selection_changed();
}

void Selection::deselect_all() {
  for (VersionRow& row : rows_) {
    row.checked = false;
    row.referenced_by.clear();
  }
  std::fill(users_.begin(), users_.end(), 0);
  ++untick_count_;
  parent_.selection_changed();
}

void Selection::reset() {
  mark_installed();
  ++untick_count_;
  parent_.selection_changed();
}

void Selection::preselect(std::span<const std::string> identities) {
  for (const std::string& identity : identities) {
    const RowId row = table_->find_best(identity);
    if (row == kNoRow) {
      msg::Message message;
      message.code = msg::Code::pkg_not_available;
      message.arguments = {{L"pkg", msg::to_wide(identity)},
                           {L"pkgtype", std::wstring(msg::type_label(table_->type(), false))}};
      parent_.report(message);
      continue;
    }
    tick_own(row);
    expanded_[table_->package_of(row)] = true;
  }
  parent_.selection_changed();
}

std::vector<std::wstring> Selection::texts(std::span<const RowId> rows) const {
  std::vector<std::wstring> result;
  result.reserve(rows.size());
  for (const RowId row : rows) result.push_back(table_->text(row));
  return result;
}

}  // namespace zendro::packages_ui
