#include "pkg/referrers.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "framework/text/ascii.h"

namespace zendro::pkg {
namespace {

constexpr std::size_t kNone = std::string_view::npos;

auto order_of(std::string_view name, const semver_t& version) {
  return std::tuple(name, version.major, version.minor, version.patch);
}

}  // namespace

referrer_index::referrer_index(const package_map& packages, const metadata_texts& texts) {
  std::vector<std::pair<std::string_view, list_position>> uses;
  for (const package_t& package : packages) {
    for (const std::string_view text : texts.references(package)) {
      uses.emplace_back(text, position_of(packages, package));
    }
  }
  std::sort(uses.begin(), uses.end());
  for (std::size_t i = 0; i < uses.size(); ++i) {
    packages_.push_back(uses[i].second);
    if (i == 0 || uses[i].first != uses[i - 1].first) {
      const name_semver_t key = parse_identity(uses[i].first);
      references_.push_back({framework::ascii_lower(key.name), key.version, i, i});
    }
    references_.back().end = i + 1;
  }
  std::sort(references_.begin(), references_.end(), [](const reference_t& a, const reference_t& b) {
    return order_of(a.name, a.version) < order_of(b.name, b.version);
  });
  find_names();
}

void referrer_index::find_names() {
  for (std::size_t i = 0; i < references_.size(); ++i) {
    const std::string_view text = references_[i].name;
    if (!names_.empty() && names_.back().text == text) continue;
    // What the name begins with are the name before it, or what that begins with.
    std::size_t prefix = names_.empty() ? kNone : names_.size() - 1;
    while (prefix != kNone && !text.starts_with(names_[prefix].text))
      prefix = names_[prefix].prefix;
    names_.push_back({text, i, prefix});
  }
}

std::vector<std::size_t> referrer_index::texts_for(const name_semver_t& identity) const {
  const std::string lower = framework::ascii_lower(identity.name);
  std::vector<std::size_t> names;
  for (std::size_t begin = 0; begin <= lower.size(); ++begin) {
    // The names that this suffix begins with.
    const std::string_view suffix = std::string_view(lower).substr(begin);
    const auto behind = std::upper_bound(
        names_.begin(), names_.end(), suffix,
        [](std::string_view wanted, const name_t& name) { return wanted < name.text; });
    std::size_t name =
        behind == names_.begin() ? kNone : static_cast<std::size_t>(behind - names_.begin()) - 1;
    while (name != kNone && !suffix.starts_with(names_[name].text)) name = names_[name].prefix;
    for (; name != kNone; name = names_[name].prefix) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  names.erase(std::unique(names.begin(), names.end()), names.end());

  std::vector<std::size_t> texts;
  for (const std::size_t name : names) {
    const auto [major, minor, patch] = identity.version;
    append(name, kNoVersion, texts);
    append(name, {major, kAnyPart, kAnyPart}, texts);
    append(name, {major, minor, kAnyPart}, texts);
    append(name, {major, minor, patch}, texts);
  }
  return texts;
}

std::vector<list_position> referrer_index::packages_with(std::size_t text) const {
  const auto wanted = order_of(references_[text].name, references_[text].version);
  std::vector<list_position> found;
  for (; text < references_.size() &&
         order_of(references_[text].name, references_[text].version) == wanted;
       ++text) {
    const reference_t& reference = references_[text];
    found.insert(found.end(), packages_.begin() + static_cast<std::ptrdiff_t>(reference.first),
                 packages_.begin() + static_cast<std::ptrdiff_t>(reference.end));
  }
  return found;
}

// Adds the first one of the references that read exactly so.
void referrer_index::append(std::size_t name, const semver_t& version,
                            std::vector<std::size_t>& texts) const {
  const auto wanted = order_of(names_[name].text, version);
  const auto first = references_.begin() + static_cast<std::ptrdiff_t>(names_[name].first);
  const auto reference = std::partition_point(
      first, references_.end(),
      [&wanted](const reference_t& other) { return order_of(other.name, other.version) < wanted; });
  if (reference != references_.end() && order_of(reference->name, reference->version) == wanted) {
    texts.push_back(static_cast<std::size_t>(reference - references_.begin()));
  }
}

}  // namespace zendro::pkg
