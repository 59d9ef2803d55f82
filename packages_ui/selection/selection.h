// The selection: what the user wants installed after Apply, and the rules of ticking.
//
// After every change the ticks are made to agree with the plan of what Apply would do, so that the
// ticked versions are those that Apply leaves installed. The exception is a chosen patch: the old
// level stays ticked and stands for the new one.
//
// Free of any window. Questions go to SelectionQuestions, and every change is told to ParentUI,
// both on the calling thread before the call returns. Owns the table; used by one thread.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "packages_ui/selection/package_table.h"
#include "packages_ui/selection/parent_ui.h"
#include "packages_ui/selection/questions.h"
#include "packages_ui/selection/wishes.h"
#include "pkg/plan.h"

namespace zendro::packages_ui {

enum class PatchState : std::uint8_t { none = 0, available = 1, chosen = 2 };

/// What is known of a version apart from its metadata.
struct VersionRow {
  bool installed = false;
  bool deprecated = false;
  bool checked = false;  ///< wanted after Apply
  /// Of an installed version that is checked: whether a newer level can take its place.
  PatchState patch = PatchState::none;
  /// The wanted versions that need this one and caused it to be ticked. Empty on a checked version:
  /// the user ticked it.
  std::set<RowId> referenced_by;
  [[nodiscard]] std::size_t reference_count() const { return referenced_by.size(); }
};

/// What the box of a package row shows of its versions.
enum class PackageCheck { none, some, all };

class Selection {
 public:
  Selection(std::unique_ptr<PackageTable> table, SelectionQuestions& questions, ParentUI& parent);
  Selection(const Selection&) = delete;
  Selection& operator=(const Selection&) = delete;

  [[nodiscard]] const PackageTable& table() const { return *table_; }
  [[nodiscard]] const VersionRow& row(RowId row) const { return rows_[row]; }
  [[nodiscard]] std::span<const VersionRow> rows() const { return rows_; }
  /// What Apply would do now.
  [[nodiscard]] const pkg::plan_t& plan() const { return plan_; }
  /// Whether the version is checked, or the new level of a patch that is chosen.
  [[nodiscard]] bool wanted(RowId row) const;
  /// The installed version whose chosen patch leads to this one; kNoRow if there is none.
  [[nodiscard]] RowId patched_by(RowId row) const;
  /// What a ticked version cannot be installed together with; kNoRow if there is nothing.
  [[nodiscard]] RowId conflict_of(RowId row) const;
  [[nodiscard]] PackageCheck package_check(PackageId package) const;
  /// Whether a tick has asked for the package to be shown expanded.
  [[nodiscard]] bool expanded(PackageId package) const { return expanded_[package]; }

  /// The user clicks the box of a version: unticks a wanted one, ticks any other. Ticking an
  /// installed level that a ticked newer one replaces means to keep it: the newer one is unticked.
  void toggle_version(RowId row);
  /// The user clicks the box of a package: unticks all versions if all are checked. Otherwise ticks
  /// the version, or asks which where there are several.
  void toggle_package(PackageId package);

  /// Ticks a version as the user's own choice; one that is wanted already is from now on kept for
  /// its own sake. One that cannot be chosen stays as it is. For the newest level of an installed
  /// line the patch is chosen.
  void tick(RowId row);
  /// Unticks versions and, after asking, what depends on them and what only they used.
  void untick(std::span<const RowId> rows);

  /// Chooses the patch of a version where one is available.
  void choose_patch(RowId row);
  void choose_all_patches();
  /// Unticks everything, without questions.
  void deselect_all();
  /// Returns to what is installed.
  void reset();

  /// Ticks the versions that install requests of these texts would choose. One that chooses none
  /// is reported as pkg_not_available.
  void preselect(std::span<const std::string> identities);

  /// What the user wants changed.
  [[nodiscard]] Wishes wishes() const;
  /// Takes over the wishes of another selection as far as their versions still exist.
  void restore(const Wishes& wishes);

 private:
  void mark_installed();
  void tick_own(RowId row);
  void want(RowId row);
  void want_for(RowId row, RowId referrer);
  void keep_installed(RowId row);
  void uncheck(std::span<const RowId> rows);
  void drop_unwanted_referrers();
  [[nodiscard]] bool is_replaced(RowId row) const;
  [[nodiscard]] PatchState patch_to_choose(RowId row) const;
  [[nodiscard]] std::vector<std::wstring> texts_of(std::span<const RowId> rows) const;

  // In selection_plan.cpp: making the ticks agree with the plan.
  void settle();
  [[nodiscard]] pkg::changes_t wanted_changes() const;
  void note_replaced();
  bool adopt_needs();
  bool adopt_kept();
  bool adopt_levels();
  void note_referrers();

  std::unique_ptr<PackageTable> table_;
  SelectionQuestions& questions_;
  ParentUI& parent_;
  std::vector<VersionRow> rows_;
  std::vector<bool> expanded_;  ///< by package
  pkg::plan_t plan_;
  std::vector<RowId> newly_wanted_;   ///< since the ticks were last made to agree with the plan
  std::map<RowId, RowId> conflicts_;  ///< a ticked version and what it conflicts with
  std::set<RowId> replaced_;          ///< installed levels that newer ones replace
};

}  // namespace zendro::packages_ui
