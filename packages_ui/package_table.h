// What the grid shows, apart from ticks: the packages with their versions, and what their metadata
// says of them.
//
// Versions are numbered in grid order: package names ascending by bytes, within a package versions
// ascending. Made on any thread; used by one thread at a time, since facts that cost something are
// found out when they are first asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "msg/message.h"
#include "pkg/merged_view.h"

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

  /// Receives, once for each version, what is wrong with its metadata when that is first noticed.
  /// What is wrong counts as missing.
  void set_problem_sink(msg::MessageSink sink) { problem_sink_ = std::move(sink); }

  [[nodiscard]] const std::string& type() const { return type_; }
  [[nodiscard]] std::size_t version_count() const { return view_.versions.size(); }
  [[nodiscard]] std::size_t package_count() const { return packages_.size(); }
  [[nodiscard]] Range versions_of(PackageId package) const { return packages_[package]; }
  [[nodiscard]] PackageId package_of(RowId row) const { return package_of_[row]; }
  [[nodiscard]] const pkg::version_view_t& version(RowId row) const;

  /// Name and version, as shown.
  [[nodiscard]] std::wstring text(RowId row) const;
  [[nodiscard]] std::wstring name(PackageId package) const;
  [[nodiscard]] std::wstring title(RowId row) const;
  [[nodiscard]] std::wstring publisher(RowId row) const;
  /// What the metadata says, in its own words.
  [[nodiscard]] std::string_view title_bytes(RowId row) const;
  [[nodiscard]] std::string_view description_bytes(RowId row) const;
  /// The references as the metadata writes them.
  [[nodiscard]] std::vector<std::wstring> reference_texts(RowId row) const;

  /// Whether ticking the version can come to anything: it is installed or can be installed. A
  /// version that is neither stands in the list of deprecated packages only.
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
  /// The versions that the version references, each being the one that an install request of the
  /// reference's text would choose. References to the version itself or to nothing are left out.
  [[nodiscard]] std::span<const RowId> references(RowId row) const;
  /// The highest patch level of the version's line (same name, major and minor number) if it is
  /// newer than this version, can be installed and is not installed yet; else kNoRow.
  [[nodiscard]] RowId patch_for(RowId row) const;

 private:
  template <typename Result, typename Read>
  Result guarded(RowId row, Read read) const;

  std::string type_;
  pkg::merged_view_t view_;
  std::vector<Range> packages_;
  std::vector<PackageId> package_of_;  ///< by row
  std::vector<RowId> available_rows_;  ///< by index into the available list
  mutable std::vector<std::optional<std::vector<RowId>>> references_;
  mutable std::vector<bool> reported_;
  msg::MessageSink problem_sink_;
};

}  // namespace zendro::packages_ui
