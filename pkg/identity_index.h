// Finding the identities whose name contains a text, without regard to ASCII case, and whose
// version a pattern matches.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/name_index.h"
#include "pkg/name_semver.h"

namespace zendro::pkg {

/// Identities, known by their position in a sequence. Costs what name_index does, whatever versions
/// are asked for. Used by one thread.
class identity_index {
 public:
  /// No name holds a NUL.
  explicit identity_index(const std::vector<name_semver_t>& identities);
  identity_index(const identity_index&) = delete;
  identity_index& operator=(const identity_index&) = delete;

  /// One of the identities whose name contains that of `key` and whose version its version matches.
  std::optional<std::size_t> find_any(const name_semver_t& key);
  /// All of them that were not taken before, ascending.
  std::vector<std::size_t> take(const name_semver_t& key);

 private:
  using position_type = std::uint32_t;
  using position_list = std::vector<position_type>;

  /// Those that one pattern matches.
  struct group_t {
    position_list positions;         ///< by name
    std::vector<std::size_t> first;  ///< of each name, in positions, and the end
    name_index names;
  };

  [[nodiscard]] std::span<const position_type> matching(const semver_t& pattern) const;
  group_t& group_of(const semver_t& pattern, std::span<const position_type> positions);

  std::vector<std::string> lower_;           ///< the distinct names
  std::vector<std::uint32_t> names_;         ///< of the positions, in lower_
  std::vector<semver_t> versions_;           ///< of the positions
  position_list by_version_;                 ///< sorted, newest first
  std::vector<bool> is_taken_;               ///< by position
  std::map<std::uint64_t, group_t> groups_;  ///< by pattern
};

}  // namespace zendro::pkg
