// The selection: what the user wants installed after Apply, and the rules of ticking.
//
// Holds no window. Questions go through SelectionQuestions, every change is told to ParentUI, both
// on the calling thread before the call returns. Owns the table; used by one thread.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "packages_ui/package_table.h"
#include "packages_ui/parent_ui.h"
#include "packages_ui/questions.h"

namespace zendro::packages_ui {

enum class PatchState : std::uint8_t { none = 0, available = 1, chosen = 2 };

/// What is known of a version apart from its metadata.
struct VersionRow {
  bool installed = false;
  bool deprecated = false;
  bool checked = false;  ///< wanted after Apply
  PatchState patch = PatchState::none;
  /// The checked versions that reference this one and caused it to be ticked. Empty on a checked
  /// version: the user ticked it.
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
  [[nodiscard]] PackageCheck package_check(PackageId package) const;
  /// Whether a tick has asked for the package to be shown expanded.
  [[nodiscard]] bool expanded(PackageId package) const { return expanded_[package]; }

  /// The user clicks the box of a version: unticks a checked one, ticks any other.
  void toggle_version(RowId row);
  /// The user clicks the box of a package: unticks all versions where all are checked, else ticks,
  /// after asking which where there are several.
  void toggle_package(PackageId package);

  /// The user's own tick. A checked version merely counts as chosen by the user from now on. A
  /// version that cannot be installed stays as it is.
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

 private:
  void mark_installed();
  bool add_tick(RowId row, RowId referrer);
  void tick_references(RowId start);
  void tick_own(RowId row);
  void check(RowId row);
  void uncheck(std::span<const RowId> rows);
  [[nodiscard]] std::vector<RowId> with_dependants(std::span<const RowId> rows) const;
  [[nodiscard]] std::vector<RowId> left_unused(std::span<const RowId> removed) const;
  [[nodiscard]] std::vector<std::wstring> texts(std::span<const RowId> rows) const;

  std::unique_ptr<PackageTable> table_;
  SelectionQuestions& questions_;
  ParentUI& parent_;
  std::vector<VersionRow> rows_;
  std::vector<bool> expanded_;  ///< by package
  /// By row: how many checked versions reference it, whoever ticked it.
  std::vector<std::uint32_t> users_;
  /// By row: the value of untick_count_ when its references were last ticked. While it is the
  /// current one, ticking them again would change nothing.
  std::vector<std::uint64_t> references_ticked_;
  std::uint64_t untick_count_ = 1;
};

}  // namespace zendro::packages_ui
