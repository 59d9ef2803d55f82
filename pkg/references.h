// Following references between packages.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "pkg/package_list.h"

namespace zendro::pkg {

/// Everything that `packages` reference, directly or through others: the version that a filter of
/// the reference's text would choose in `available`, or the reference as written where there is
/// none. What has been reached is not followed again, so cycles end; chains of any length need no
/// stack.
std::set<name_semver_t> collect_references(const std::set<name_semver_t>& packages,
                                           const pkgs_available_t& available);

/// The place of a package in a list.
using list_position = std::uint32_t;

/// What to do about a package whose metadata has a member of the wrong type.
using metadata_problem_sink = std::function<void(const package_t&, const framework::JsonError&)>;
/// Does nothing, where another step of the operation reports the problem.
inline void pass_over_metadata(const package_t&, const framework::JsonError&) {}

/// Reads texts of the metadata. A member of the wrong type counts as missing where `problem` takes
/// note of it; without one the error is thrown on, as by read_metadata().
class metadata_texts {
 public:
  explicit metadata_texts(metadata_problem_sink problem = {}) : problem_(std::move(problem)) {}

  [[nodiscard]] std::vector<std::string_view> references(const package_t& package) const;
  [[nodiscard]] std::vector<std::string_view> conflicts(const package_t& package) const;

 private:
  template <typename Read>
  std::vector<std::string_view> texts(const package_t& package, const Read& read) const;

  metadata_problem_sink problem_;
};

/// What the packages of a list reference directly: each reference chooses from the same list like
/// a filter of its text. Found out when it is first asked for. Used by one thread.
class reference_table {
 public:
  struct references_t {
    std::vector<list_position> found;    ///< in the order of their texts, each once
    std::vector<name_semver_t> unknown;  ///< what nothing in the list fulfils
  };

  /// Both outlive the table.
  reference_table(const package_map& packages, const metadata_texts& texts)
      : packages_(packages), texts_(texts), references_(packages.size()) {}

  [[nodiscard]] const package_map& packages() const { return packages_; }
  [[nodiscard]] const references_t& of(list_position package) const;

 private:
  const package_map& packages_;
  const metadata_texts& texts_;
  mutable std::vector<std::optional<references_t>> references_;
};

/// The place of an entry of `packages`.
list_position position_of(const package_map& packages, const package_t& package);

}  // namespace zendro::pkg
