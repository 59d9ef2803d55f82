// Finding the names that contain a text, without regard to ASCII case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zendro::pkg {

/// Built once over a sequence of names; answers each query in logarithmic time plus its matches.
class substring_index {
 public:
  /// Names are known by their position in the sequence.
  explicit substring_index(const std::vector<std::string_view>& names);

  /// The positions of all names that contain `part`, ascending. An empty part is in every name.
  [[nodiscard]] std::vector<std::size_t> find(std::string_view part) const;

 private:
  struct suffix_t {
    std::uint32_t distinct;  ///< index into distinct_
    std::uint32_t offset;
  };
  [[nodiscard]] std::string_view text_of(const suffix_t& suffix) const;

  std::vector<std::string> distinct_;                ///< names in lower case, sorted, each once
  std::vector<std::vector<std::size_t>> positions_;  ///< of each distinct name
  std::vector<suffix_t> suffixes_;                   ///< sorted by text; of names up to a length
  std::vector<std::uint32_t> long_names_;            ///< distinct names beyond that length
};

}  // namespace zendro::pkg
