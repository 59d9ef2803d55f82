// What the grid shows, apart from ticks: the packages with their versions, and what their metadata
// says of them.
//
// Versions are numbered in grid order: package names ascending by bytes, within a package versions
// ascending. Made on any thread, and used by one thread at a time: what takes long to find out is
// found out when it is first asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "msg/message.h"
#include "pkg/merged_view.h"
#include "pkg/plan.h"

namespace zendro::packages_ui {

/// The number of a version row in grid order.
using RowId = std::uint32_t;
/// The number of a package row in grid order.
using PackageId = std::uint32_t;

inline constexpr RowId kNoRow = UINT32_MAX;

class PackageTable {
 public:
  /// The version rows of a package: from `first` up to, not including, `end`.
  struct Range {
    RowId first;
    RowId end;
    [[nodiscard]] std::size_t size() const { return end - first; }
  };

  /// `type` is the type word of the packages ("xsd", "xbrl").
  PackageTable(std::string type, pkg::merged_view_t view);
  PackageTable(const PackageTable&) = delete;
  PackageTable& operator=(const PackageTable&) = delete;

  /// The sink receives the first problem that is noticed in the metadata of a version. A member
  /// with a problem counts as missing.
  void set_problem_sink(msg::MessageSink sink) { problem_sink_ = std::move(sink); }

  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] std::size_t version_count() const { return view_.versions.size(); }
  [[nodiscard]] std::size_t package_count() const { return packages_.size(); }
  [[nodiscard]] Range versions_of(PackageId package) const { return packages_[package]; }
  [[nodiscard]] PackageId package_of(RowId row) const { return package_of_[row]; }
  [[nodiscard]] const pkg::version_view_t& version(RowId row) const;

  // As shown, see msg::shown().
  /// Name and version.
  [[nodiscard]] std::wstring text(RowId row) const;
  [[nodiscard]] std::wstring name(PackageId package) const;
  [[nodiscard]] std::wstring title(RowId row) const;
  [[nodiscard]] std::wstring publisher(RowId row) const;
  /// The members as the metadata has them, in UTF-8.
  [[nodiscard]] std::string_view title_bytes(RowId row) const;
  [[nodiscard]] std::string_view description_bytes(RowId row) const;
  /// The references as the metadata writes them.
  [[nodiscard]] std::vector<std::wstring> reference_texts(RowId row) const;

  // The rows by their places in the lists that they were made of, and the other way round.
  [[nodiscard]] const pkg::planner& planner() const { return planner_; }
  [[nodiscard]] std::span<const RowId> available_rows() const { return available_rows_; }
  [[nodiscard]] std::span<const RowId> installed_rows() const { return installed_rows_; }
  /// Of a version that stands in the available list.
  [[nodiscard]] pkg::list_position available_place(RowId row) const {
    return available_places_[row];
  }
  /// Of a version that is installed.
  [[nodiscard]] pkg::list_position installed_place(RowId row) const {
    return installed_places_[row];
  }
  /// The row of an entry of either list.
  [[nodiscard]] RowId row_of(const pkg::package_t& package) const;

  /// Whether the version can be ticked: it is installed, or it can be installed and is not older
  /// than an installed patch level of its line (same name, major and minor number).
  [[nodiscard]] bool choosable(RowId row) const;
  /// The newest version of a package that can be installed; kNoRow if there is none.
  [[nodiscard]] RowId latest(PackageId package) const;
  /// The version whose metadata describes the package as a whole: the newest that can be
  /// installed, else the newest.
  [[nodiscard]] RowId representative(PackageId package) const;
  /// The package of this name, in the spelling of the list.
  [[nodiscard]] std::optional<PackageId> find_package(std::string_view name) const;
  /// The version of this identity; kNoRow if there is none.
  [[nodiscard]] RowId find_version(const pkg::name_semver_t& identity) const;
  /// The version that an install request of this text would choose; kNoRow if there is none.
  [[nodiscard]] RowId find_best(std::string_view identity_text) const;
  /// The newest installed patch level of the version's line, which may be the version itself;
  /// kNoRow if none is installed.
  [[nodiscard]] RowId installed_level(RowId row) const { return installed_levels_[row]; }
  /// A reference of the version, or of what it references, that nothing in the available list
  /// fulfils. Of a version that stands in the available list.
  [[nodiscard]] std::optional<std::wstring> missing_reference(RowId row) const;
  /// For the newest installed level of a line (same name, major and minor number): the highest
  /// available level of the line if it is newer; else kNoRow.
  [[nodiscard]] RowId patch_for(RowId row) const;

 private:
  using CellTexts = std::unordered_map<RowId, std::wstring>;

  template <typename Result, typename Read>
  Result read_metadata(RowId row, Read read) const;
  template <typename Read>
  std::wstring cell(RowId row, CellTexts& kept, Read read) const;
  void report(RowId row, const framework::JsonError& error) const;
  void find_installed_levels();
  pkg::metadata_problem_sink problems();

  std::string type_;
  pkg::merged_view_t view_;
  std::vector<Range> packages_;
  std::vector<PackageId> package_of_;                 ///< by row
  std::vector<RowId> available_rows_;                 ///< by place in the available list
  std::vector<RowId> installed_rows_;                 ///< by place in the installed list
  std::vector<pkg::list_position> available_places_;  ///< by row
  std::vector<pkg::list_position> installed_places_;  ///< by row
  std::vector<RowId> installed_levels_;               ///< by row
  mutable std::vector<bool> reported_;
  // Kept for rows whose metadata is long: a row is read whenever it is drawn.
  mutable CellTexts titles_;
  mutable CellTexts publishers_;
  msg::MessageSink problem_sink_;
  pkg::planner planner_;
};

}  // namespace zendro::packages_ui
