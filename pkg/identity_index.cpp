#include "pkg/identity_index.h"

#include <algorithm>
#include <numeric>

#include "pkg/ascii_case.h"

namespace zendro::pkg {
namespace {

// Sorting the suffixes of a name costs its length squared at worst; names beyond this length are
// searched one by one instead.
constexpr std::size_t kLongestIndexed = 128;
// So many searches through all names cost less than building the index.
constexpr std::size_t kSearchesBeforeIndex = 16;

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

identity_index::identity_index(const std::vector<name_semver_t>& identities) {
  std::vector<std::string> lower;
  lower.reserve(identities.size());
  for (const name_semver_t& identity : identities) lower.push_back(ascii_lower(identity.name));
  std::vector<std::size_t> order(identities.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  const by_given_parts newer({0, 0, 0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    if (const int names = lower[a].compare(lower[b]); names != 0) return names < 0;
    return newer(identities[a].version, identities[b].version);
  });
  for (const std::size_t position : order) {
    if (names_.empty() || names_.back().lower != lower[position]) {
      names_.push_back({lower[position], {}});
    }
    names_.back().entries.push_back({identities[position].version, position});
  }
}

std::vector<std::size_t> identity_index::find(const name_semver_t& key) const {
  std::vector<std::size_t> positions;
  visit_matches(key, [&positions](std::size_t position) {
    positions.push_back(position);
    return true;
  });
  std::sort(positions.begin(), positions.end());
  return positions;
}

bool identity_index::contains(const name_semver_t& key) const {
  bool found = false;
  visit_matches(key, [&found](std::size_t) {
    found = true;
    return false;
  });
  return found;
}

// `visit` returns whether to go on.
template <typename Visit>
void identity_index::visit_matches(const name_semver_t& key, Visit visit) const {
  const by_given_parts newer(key.version);
  const auto entry_first = [&newer](const entry_t& entry, const semver_t& version) {
    return newer(entry.version, version);
  };
  for (const std::uint32_t name : names_with(ascii_lower(key.name))) {
    const std::vector<entry_t>& entries = names_[name].entries;
    for (auto entry = std::lower_bound(entries.begin(), entries.end(), key.version, entry_first);
         entry != entries.end() && !newer(key.version, entry->version); ++entry) {
      if (!visit(entry->position)) return;
    }
  }
}

std::vector<std::uint32_t> identity_index::names_with(const std::string& part) const {
  std::vector<std::uint32_t> found;
  if (queries_++ < kSearchesBeforeIndex) {
    for (std::uint32_t name = 0; name < names_.size(); ++name) {
      if (names_[name].lower.find(part) != std::string::npos) found.push_back(name);
    }
    return found;
  }
  if (suffixes_.empty() && long_names_.empty()) build_suffixes();
  const auto starts_before = [this](const suffix_t& suffix, std::string_view text) {
    return text_of(suffix) < text;
  };
  for (auto suffix = std::lower_bound(suffixes_.begin(), suffixes_.end(), part, starts_before);
       suffix != suffixes_.end() && text_of(*suffix).starts_with(part); ++suffix) {
    found.push_back(suffix->name);
  }
  for (const std::uint32_t name : long_names_) {
    if (names_[name].lower.find(part) != std::string::npos) found.push_back(name);
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

void identity_index::build_suffixes() const {
  for (std::uint32_t name = 0; name < names_.size(); ++name) {
    const std::size_t length = names_[name].lower.size();
    if (length > kLongestIndexed) {
      long_names_.push_back(name);
      continue;
    }
    // The empty suffix lets an empty part find names that are empty, too.
    for (std::uint32_t offset = 0; offset <= length; ++offset) suffixes_.push_back({name, offset});
  }
  std::sort(suffixes_.begin(), suffixes_.end(),
            [this](const suffix_t& a, const suffix_t& b) { return text_of(a) < text_of(b); });
}

std::string_view identity_index::text_of(const suffix_t& suffix) const {
  return std::string_view(names_[suffix.name].lower).substr(suffix.offset);
}

}  // namespace zendro::pkg
