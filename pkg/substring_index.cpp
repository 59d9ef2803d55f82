#include "pkg/substring_index.h"

#include <algorithm>
#include <numeric>

namespace zendro::pkg {
namespace {

// Sorting the suffixes of a name costs its length squared at worst; names beyond this length are
// searched one by one instead.
constexpr std::size_t kLongestIndexed = 256;

std::string to_lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return lower;
}

}  // namespace

substring_index::substring_index(const std::vector<std::string_view>& names) {
  std::vector<std::string> lower;
  lower.reserve(names.size());
  for (const std::string_view name : names) lower.push_back(to_lower(name));
  std::vector<std::size_t> order(names.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&lower](std::size_t a, std::size_t b) { return lower[a] < lower[b]; });
  for (const std::size_t position : order) {
    if (distinct_.empty() || distinct_.back() != lower[position]) {
      distinct_.push_back(lower[position]);
      positions_.emplace_back();
    }
    positions_.back().push_back(position);
  }
  for (std::uint32_t name = 0; name < distinct_.size(); ++name) {
    if (distinct_[name].size() > kLongestIndexed) {
      long_names_.push_back(name);
      continue;
    }
    // The empty suffix lets an empty part find names that are empty, too.
    for (std::uint32_t offset = 0; offset <= distinct_[name].size(); ++offset) {
      suffixes_.push_back({name, offset});
    }
  }
  std::sort(suffixes_.begin(), suffixes_.end(),
            [this](const suffix_t& a, const suffix_t& b) { return text_of(a) < text_of(b); });
}

std::string_view substring_index::text_of(const suffix_t& suffix) const {
  return std::string_view(distinct_[suffix.distinct]).substr(suffix.offset);
}

std::vector<std::size_t> substring_index::find(std::string_view part) const {
  const std::string wanted = to_lower(part);
  std::vector<std::uint32_t> found;
  const auto starts_before = [this](const suffix_t& suffix, std::string_view text) {
    return text_of(suffix) < text;
  };
  for (auto suffix = std::lower_bound(suffixes_.begin(), suffixes_.end(), wanted, starts_before);
       suffix != suffixes_.end() && text_of(*suffix).starts_with(wanted); ++suffix) {
    found.push_back(suffix->distinct);
  }
  for (const std::uint32_t name : long_names_) {
    if (distinct_[name].find(wanted) != std::string::npos) found.push_back(name);
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());

  std::vector<std::size_t> positions;
  for (const std::uint32_t name : found) {
    positions.insert(positions.end(), positions_[name].begin(), positions_[name].end());
  }
  std::sort(positions.begin(), positions.end());
  return positions;
}

}  // namespace zendro::pkg
