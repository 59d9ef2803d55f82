// Finding the identities whose name contains a text, without regard to ASCII case, and whose
// version a pattern matches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/name_semver.h"

namespace zendro::pkg {

/// Answers a query in logarithmic time plus its matches. Used by one thread: what makes queries
/// fast is built when there have been so many of them that it pays.
class identity_index {
 public:
  /// Identities are known by their position in the sequence.
  explicit identity_index(const std::vector<name_semver_t>& identities);

  /// The positions of all identities whose name contains that of `key` and whose version its
  /// version matches, ascending. An empty name is in every name.
  [[nodiscard]] std::vector<std::size_t> find(const name_semver_t& key) const;
  /// Whether there is one.
  [[nodiscard]] bool contains(const name_semver_t& key) const;

 private:
  struct entry_t {
    semver_t version;
    std::size_t position;
  };
  struct name_t {
    std::string lower;
    std::vector<entry_t> entries;  ///< newest version first
  };
  struct suffix_t {
    std::uint32_t name;
    std::uint32_t offset;
  };

  /// Indexes into names_ of the names that contain a text in lower case.
  [[nodiscard]] std::vector<std::uint32_t> names_with(const std::string& part) const;
  void build_suffixes() const;
  [[nodiscard]] std::string_view text_of(const suffix_t& suffix) const;
  template <typename Visit>
  void visit_matches(const name_semver_t& key, Visit visit) const;

  std::vector<name_t> names_;  ///< distinct, sorted
  mutable std::size_t queries_ = 0;
  mutable std::vector<suffix_t> suffixes_;         ///< sorted by text; of names up to a length
  mutable std::vector<std::uint32_t> long_names_;  ///< those beyond that length
};

}  // namespace zendro::pkg
