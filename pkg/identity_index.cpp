#include "pkg/identity_index.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "framework/text/ascii.h"

namespace zendro::pkg {
namespace {

// So few are looked at one by one.
constexpr std::size_t kFew = 16;

// Orders versions, newest first, by as many leading parts as the pattern gives.
class by_given_parts {
 public:
  explicit by_given_parts(const semver_t& pattern)
      : count_(pattern.major == kAnyPart   ? 0
               : pattern.minor == kAnyPart ? 1
               : pattern.patch == kAnyPart ? 2
                                           : 3) {}
  bool operator()(const semver_t& a, const semver_t& b) const {
    if (count_ > 0 && a.major != b.major) return a.major > b.major;
    if (count_ > 1 && a.minor != b.minor) return a.minor > b.minor;
    return count_ > 2 && a.patch > b.patch;
  }

 private:
  int count_;
};

}  // namespace

identity_index::identity_index(const std::vector<name_semver_t>& identities)
    : names_(identities.size()), by_version_(identities.size()), is_taken_(identities.size()) {
  std::vector<std::string> lower;
  lower.reserve(identities.size());
  versions_.reserve(identities.size());
  for (const name_semver_t& identity : identities) {
    lower.push_back(framework::ascii_lower(identity.name));
    versions_.push_back(identity.version);
  }
  std::iota(by_version_.begin(), by_version_.end(), position_type{0});
  position_list by_name = by_version_;
  std::sort(by_name.begin(), by_name.end(),
            [&lower](position_type a, position_type b) { return lower[a] < lower[b]; });
  for (const position_type position : by_name) {
    if (lower_.empty() || lower_.back() != lower[position]) lower_.push_back(lower[position]);
    names_[position] = static_cast<std::uint32_t>(lower_.size() - 1);
  }
  const by_given_parts newer({0, 0, 0});
  std::sort(by_version_.begin(), by_version_.end(),
            [&](position_type a, position_type b) { return newer(versions_[a], versions_[b]); });
}

std::optional<std::size_t> identity_index::find_any(const name_semver_t& key) {
  const std::string part = framework::ascii_lower(key.name);
  const std::span<const position_type> positions = matching(key.version);
  if (positions.size() > kFew) {
    group_t& group = group_of(key.version, positions);
    const std::optional<std::size_t> name = group.names.find_any(part);
    return name ? std::optional<std::size_t>(group.positions[group.first[*name]]) : std::nullopt;
  }
  for (const position_type position : positions) {
    if (lower_[names_[position]].find(part) != std::string::npos) return position;
  }
  return std::nullopt;
}

std::vector<std::size_t> identity_index::take(const name_semver_t& key) {
  const std::string part = framework::ascii_lower(key.name);
  const std::span<const position_type> positions = matching(key.version);
  std::vector<std::size_t> found;
  const auto take_one = [&](position_type position) {
    if (!is_taken_[position]) found.push_back(position);
    is_taken_[position] = true;
  };
  if (positions.size() > kFew) {
    group_t& group = group_of(key.version, positions);
    for (const std::size_t name : group.names.take(part)) {
      for (std::size_t i = group.first[name]; i < group.first[name + 1]; ++i) {
        take_one(group.positions[i]);
      }
    }
  } else {
    for (const position_type position : positions) {
      if (lower_[names_[position]].find(part) != std::string::npos) take_one(position);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::span<const identity_index::position_type> identity_index::matching(
    const semver_t& pattern) const {
  const by_given_parts newer(pattern);
  const auto first = std::partition_point(
      by_version_.begin(), by_version_.end(),
      [&](position_type position) { return newer(versions_[position], pattern); });
  const auto end = std::partition_point(first, by_version_.end(), [&](position_type position) {
    return !newer(pattern, versions_[position]);
  });
  return {first, end};
}

identity_index::group_t& identity_index::group_of(const semver_t& pattern,
                                                  std::span<const position_type> positions) {
  const std::uint64_t key = (std::uint64_t{pattern.major} << 32) |
                            (std::uint64_t{pattern.minor} << 16) | std::uint64_t{pattern.patch};
  if (const auto known = groups_.find(key); known != groups_.end()) return known->second;
  position_list sorted(positions.begin(), positions.end());
  std::sort(sorted.begin(), sorted.end(),
            [this](position_type a, position_type b) { return names_[a] < names_[b]; });
  std::vector<std::size_t> first;
  std::vector<std::string_view> names;
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    if (i > 0 && names_[sorted[i - 1]] == names_[sorted[i]]) continue;
    first.push_back(i);
    names.emplace_back(lower_[names_[sorted[i]]]);
  }
  first.push_back(sorted.size());
  return groups_
      .try_emplace(key, group_t{std::move(sorted), std::move(first), name_index(std::move(names))})
      .first->second;
}

}  // namespace zendro::pkg
