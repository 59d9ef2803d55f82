#include "pkg/package_list.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

namespace zendro::pkg {
namespace {

constexpr std::string_view kMeta = "_META";
constexpr std::string_view kDeprecated = "_DEPRECATED";
constexpr std::string_view kBuildNumber = "build_number";
constexpr std::size_t kSeparatorsSize = 8;  // of a member in a written list, at most

bool identity_less(const package_t& a, const package_t& b) { return a.identity < b.identity; }

package_t make_package(std::string_view key, const framework::LazyObject& map) {
  return {parse_identity(key), key, meta_t(map)};
}

// Sorts entries that stand in document order; of two with one identity the first stays.
void sort_packages(package_map_t& packages) {
  if (!std::is_sorted(packages.begin(), packages.end(), identity_less)) {
    std::stable_sort(packages.begin(), packages.end(), identity_less);
  }
  const auto same = [](const package_t& a, const package_t& b) { return a.identity == b.identity; };
  packages.erase(std::unique(packages.begin(), packages.end(), same), packages.end());
}

package_map_t::const_iterator lower_bound(const package_map_t& packages, const name_semver_t& key) {
  return std::lower_bound(packages.begin(), packages.end(), key,
                          [](const package_t& package, const name_semver_t& wanted) {
                            return package.identity < wanted;
                          });
}

}  // namespace

const package_t* find_exact(const package_map_t& packages, const name_semver_t& identity) {
  const auto found = lower_bound(packages, identity);
  return found != packages.end() && found->identity == identity ? &*found : nullptr;
}

const package_t* find_best(const package_map_t& packages, const name_semver_t& key) {
  // A part that is not given sorts before every number: what stands at the key's own place is the
  // entry of exactly the key, else the newest one that can match.
  const auto found = lower_bound(packages, key);
  const bool fits = found != packages.end() && found->identity.name == key.name &&
                    matches(key.version, found->identity.version);
  return fits ? &*found : nullptr;
}

pkgs_available_t::pkgs_available_t(std::shared_ptr<framework::LazyDocument> document,
                                   std::span<const std::string_view> not_packages) {
  using Member = framework::LazyDocument::Member;
  const std::vector<Member> members = document->members(document->root());
  members_.reserve(members.size());
  packages_.reserve(members.size());
  for (const auto& [key, text] : members) {
    if (std::find(not_packages.begin(), not_packages.end(), key) != not_packages.end()) continue;
    const framework::LazyObject& map = document->object(text);
    const bool is_package = key != kMeta && key != kDeprecated;
    members_.push_back({key, &map, is_package});
    if (is_package) {
      packages_.push_back(make_package(key, map));
    } else if (key == kMeta) {
      if (const json::value* number = map.values().if_contains(kBuildNumber)) {
        build_number_ = framework::to_int64(*number);
      }
    } else {
      for (const Member& entry : document->members(text)) {
        deprecated_.push_back(make_package(entry.name, document->object(entry.text)));
      }
    }
  }
  sort_packages(packages_);
  sort_packages(deprecated_);
  documents_.push_back(std::move(document));
}

const package_t* pkgs_available_t::find_entry(const name_semver_t& identity) const {
  const package_t* found = find_exact(packages_, identity);
  return found != nullptr ? found : find_exact(deprecated_, identity);
}

void pkgs_available_t::add(std::span<const package_t* const> packages,
                           const pkgs_available_t& source) {
  std::vector<const package_t*> added;
  for (const package_t* package : packages) {
    if (find_exact(packages_, package->identity) == nullptr) added.push_back(package);
  }
  if (added.empty()) return;
  documents_.insert(documents_.end(), source.documents_.begin(), source.documents_.end());

  std::vector<member_t> members;
  members.reserve(members_.size() + added.size());
  auto next = added.begin();
  const auto add_next = [&] {
    members.push_back({(*next)->key, &(*next)->meta.map(), true});
    ++next;
  };
  for (const member_t& member : members_) {
    if (member.is_package) {
      const name_semver_t identity = parse_identity(member.key);
      while (next != added.end() && (*next)->identity < identity) add_next();
    }
    members.push_back(member);
  }
  while (next != added.end()) add_next();
  members_ = std::move(members);

  const auto old_size = static_cast<std::ptrdiff_t>(packages_.size());
  for (const package_t* package : added) packages_.push_back(*package);
  std::inplace_merge(packages_.begin(), packages_.begin() + old_size, packages_.end(),
                     identity_less);
}

void pkgs_available_t::remove(std::span<const name_semver_t> identities) {
  const auto is_removed = [identities](const name_semver_t& identity) {
    return std::binary_search(identities.begin(), identities.end(), identity);
  };
  std::erase_if(members_, [&](const member_t& member) {
    return member.is_package && is_removed(parse_identity(member.key));
  });
  std::erase_if(packages_, [&](const package_t& package) { return is_removed(package.identity); });
}

std::string pkgs_available_t::serialise() const {
  std::string out;
  std::size_t expected_size = 0;
  for (const member_t& member : members_) {
    expected_size += member.key.size() + member.map->text().size() + kSeparatorsSize;
  }
  out.reserve(expected_size);
  framework::JsonWriter writer(out);
  out += '{';
  const char* separator = "\n";
  for (const member_t& member : members_) {
    out += separator;
    separator = ",\n";
    writer.append(member.key);
    out += ':';
    member.map->append_to(writer);
  }
  out += "\n}\n";
  return out;
}

}  // namespace zendro::pkg
