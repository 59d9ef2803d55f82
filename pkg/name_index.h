// Finding the texts that contain a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zendro::pkg {

/// Names, of which those that contain a part are found. Whatever names and parts are chosen, a
/// search costs the logarithm of what all names hold, times the part's length, and once each name
/// that it takes; sorting beforehand costs n log n times the length of a name, which a list bounds.
/// Used by one thread: what makes searches fast is built when there have been so many that it pays.
class name_index {
 public:
  /// No name holds a NUL. They stay where they are, and are known by their places.
  explicit name_index(std::vector<std::string_view> names);

  /// A name that contains the part; an empty part is in every name.
  std::optional<std::size_t> find_any(std::string_view part);
  /// All names that contain the part and were not taken before, in no order.
  std::vector<std::size_t> take(std::string_view part);

 private:
  using text_place = std::uint32_t;  ///< in text_, or in suffixes_

  bool is_sorted();
  [[nodiscard]] std::pair<text_place, text_place> suffixes_with(std::string_view part) const;
  [[nodiscard]] std::size_t name_at(text_place place) const;
  text_place next_left(text_place suffix);

  std::vector<std::string_view> names_;
  std::vector<bool> is_taken_;  ///< by name
  std::size_t searches_ = 0;
  std::string text_;                ///< all names, a NUL behind each
  std::vector<text_place> begins_;  ///< of the names in text_
  std::vector<text_place>
      suffixes_;                  ///< their begins in text_, sorted by what follows up to the NUL
  std::vector<text_place> left_;  ///< by suffix: itself, or one before the next not taken
};

}  // namespace zendro::pkg
