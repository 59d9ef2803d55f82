#include "pkg/name_index.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace zendro::pkg {
namespace {

// So many searches through all names cost less than sorting what they hold.
constexpr std::size_t kSearchesBeforeSorting = 16;

bool contains(std::string_view name, std::string_view part) {
  return name.find(part) != std::string_view::npos;
}

}  // namespace

name_index::name_index(std::vector<std::string_view> names)
    : names_(std::move(names)), is_taken_(names_.size()) {}

std::optional<std::size_t> name_index::find_any(std::string_view part) {
  if (is_sorted()) {
    const auto [first, end] = suffixes_with(part);
    return first == end ? std::nullopt : std::optional(name_at(suffixes_[first]));
  }
  const auto found = std::find_if(names_.begin(), names_.end(),
                                  [part](std::string_view name) { return contains(name, part); });
  if (found == names_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - names_.begin());
}

std::vector<std::size_t> name_index::take(std::string_view part) {
  std::vector<std::size_t> found;
  const auto take_one = [&](std::size_t name) {
    if (is_taken_[name]) return;
    is_taken_[name] = true;
    found.push_back(name);
  };
  if (!is_sorted()) {
    for (std::size_t name = 0; name < names_.size(); ++name) {
      if (!is_taken_[name] && contains(names_[name], part)) take_one(name);
    }
    return found;
  }
  if (left_.empty()) {
    left_.resize(suffixes_.size() + 1);
    std::iota(left_.begin(), left_.end(), text_place{0});
  }
  // A part may be in a name many times, and in names that were taken: each suffix is passed once.
  const auto [first, end] = suffixes_with(part);
  for (text_place suffix = next_left(first); suffix < end; suffix = next_left(suffix)) {
    take_one(name_at(suffixes_[suffix]));
    left_[suffix] = suffix + 1;
  }
  return found;
}

// Whether the suffixes are there.
bool name_index::is_sorted() {
  if (searches_++ < kSearchesBeforeSorting) return false;
  if (!suffixes_.empty() || names_.empty()) return !names_.empty();
  for (const std::string_view name : names_) {
    begins_.push_back(static_cast<text_place>(text_.size()));
    text_ += name;
    text_ += '\0';
  }
  // The empty ones let an empty part find names that are empty, too.
  suffixes_.resize(text_.size());
  std::iota(suffixes_.begin(), suffixes_.end(), text_place{0});
  const char* const text = text_.data();
  std::sort(suffixes_.begin(), suffixes_.end(),
            [text](text_place a, text_place b) { return std::strcmp(text + a, text + b) < 0; });
  return true;
}

// From the first one that begins with the part to the one behind the last.
std::pair<name_index::text_place, name_index::text_place> name_index::suffixes_with(
    std::string_view part) const {
  const auto compare = [&](text_place suffix) {
    return std::strncmp(text_.data() + suffix, part.data(), part.size());
  };
  if (part.find('\0') != std::string_view::npos) return {0, 0};
  const auto first = std::partition_point(suffixes_.begin(), suffixes_.end(),
                                          [&](text_place suffix) { return compare(suffix) < 0; });
  const auto end = std::partition_point(first, suffixes_.end(),
                                        [&](text_place suffix) { return compare(suffix) == 0; });
  return {static_cast<text_place>(first - suffixes_.begin()),
          static_cast<text_place>(end - suffixes_.begin())};
}

std::size_t name_index::name_at(text_place place) const {
  const auto behind = std::upper_bound(begins_.begin(), begins_.end(), place);
  return static_cast<std::size_t>(behind - begins_.begin()) - 1;
}

// The first suffix from this one on that has not been passed.
name_index::text_place name_index::next_left(text_place suffix) {
  while (left_[suffix] != suffix) {
    left_[suffix] = left_[left_[suffix]];
    suffix = left_[suffix];
  }
  return suffix;
}

}  // namespace zendro::pkg
