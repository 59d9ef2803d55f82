#include "pkg/package_list.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "app/options/package_types.h"

namespace zendro::pkg {
namespace {

constexpr std::string_view kMeta = "_META";
constexpr std::string_view kDeprecated = "_DEPRECATED";
constexpr std::string_view kVanished = "_vanished";
constexpr std::string_view kReferences = "references";
constexpr std::string_view kConflicts = "conflicting_pkgs";
constexpr std::string_view kBuildNumber = "build_number";
constexpr std::size_t kAskedForAhead = 16;  // entries, which lie far apart in a long text
constexpr std::size_t kSeparatorsSize = 8;  // of a member in a written list, at most

bool identity_less(const package_t& a, const package_t& b) { return a.identity < b.identity; }

package_t make_package(std::string_view key, const framework::LazyObject& map) {
  return {parse_identity(key), key, meta_t(map)};
}

// Sorts entries that stand in document order; of two with one identity the first stays.
void sort_packages(package_map& packages) {
  if (!std::is_sorted(packages.begin(), packages.end(), identity_less)) {
    std::stable_sort(packages.begin(), packages.end(), identity_less);
  }
  const auto same = [](const package_t& a, const package_t& b) { return a.identity == b.identity; };
  packages.erase(std::unique(packages.begin(), packages.end(), same), packages.end());
}

// Refuses an entry that holds too much.
void require_modest(const framework::LazyDocument::Member& entry,
                    framework::LazyDocument& document) {
  try {
    require_at_most(kMostEntryValues, entry.values, "values");
    if (entry.values <= kMostReferences) return;
    for (const auto& [name, text, values] : document.members(entry.text)) {
      if (name == kReferences || name == kConflicts) require_at_most(kMostReferences, values, name);
    }
  } catch (const framework::JsonError& error) {
    throw framework::JsonError(std::string(entry.name).append(": ").append(error.what()));
  }
}

// Appends a member to the text of an object that is still to be closed.
void append_member(std::string& object, std::string_view key, std::string_view value) {
  if (object.find_last_not_of(" \t\r\n") != 0) object += ',';
  framework::JsonWriter(object).append(key);
  object += ':';
  object += value;
}

// The text of an object of packages that is still to be closed.
std::string open_object(const package_map& packages) {
  std::string object = "{";
  for (const package_t& package : packages) {
    append_member(object, package.key, package.meta.map().text());
  }
  return object;
}

package_map::const_iterator lower_bound(const package_map& packages, const name_semver_t& key) {
  return std::lower_bound(packages.begin(), packages.end(), key,
                          [](const package_t& package, const name_semver_t& wanted) {
                            return package.identity < wanted;
                          });
}

}  // namespace

void require_at_most(std::size_t most, std::size_t count, std::string_view what) {
  if (count <= most) return;
  throw framework::JsonError(std::to_string(count).append(" ").append(what) +
                             " are more than the limit of " + std::to_string(most) + ".");
}

const package_t* find_exact(const package_map& packages, const name_semver_t& identity) {
  const auto found = lower_bound(packages, identity);
  return found != packages.end() && found->identity == identity ? &*found : nullptr;
}

const package_t* find_best(const package_map& packages, const name_semver_t& key) {
  // A part that is not given sorts before every number: what stands at the key's own place is the
  // entry of exactly the key, else the newest one that can match.
  const auto found = lower_bound(packages, key);
  const bool fits = found != packages.end() && found->identity.name == key.name &&
                    matches(key.version, found->identity.version);
  return fits ? &*found : nullptr;
}

bool is_version_key(std::string_view key) {
  const std::span<const app::PackageType> types = app::package_types();
  const bool is_file_name = std::any_of(
      types.begin(), types.end(),
      [key](const app::PackageType& type) { return key.ends_with(type.file_extension); });
  if (key.size() > kLongestKey || is_file_name || key.find('\0') != std::string_view::npos) {
    return false;
  }
  const auto [name, version] = parse_identity(key);
  // What is given has no gap.
  return !name.empty() && version.patch != kAnyPart;
}

pkgs_available_t::pkgs_available_t(std::shared_ptr<framework::LazyDocument> document,
                                   std::span<const std::string_view> not_packages) {
  require_at_most(kMostValues, document->value_count(), "values");
  std::size_t count = 0;
  const std::vector<document_entry> members =
      document->members(document->root(), kMostEntries, count);
  require_at_most(kMostEntries, count, "entries");
  members_.reserve(members.size());
  packages_.reserve(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i + kAskedForAhead < members.size()) {
      __builtin_prefetch(members[i + kAskedForAhead].text.data());
    }
    const document_entry& member = members[i];
    const std::string_view key = member.name;
    if (std::find(not_packages.begin(), not_packages.end(), key) != not_packages.end()) continue;
    const framework::LazyObject& map = document->object(member.text);
    bool is_package = false;
    if (key == kMeta) {
      require_modest(member, *document);
      if (const json::value* number = map.values().if_contains(kBuildNumber)) {
        build_number_ = framework::to_int64(*number);
      }
    } else if (key == kDeprecated) {
      std::size_t deprecated = 0;
      const std::vector<document_entry> entries =
          document->members(member.text, kMostEntries, deprecated);
      require_at_most(kMostEntries, count + deprecated, "entries");
      for (const document_entry& entry : entries) {
        require_modest(entry, *document);
        add_package(entry, document->object(entry.text), deprecated_);
      }
    } else {
      require_modest(member, *document);
      is_package = add_package(member, map, packages_);
    }
    members_.push_back({key, &map, is_package});
  }
  sort_packages(packages_);
  sort_packages(deprecated_);
  documents_.push_back(std::move(document));
}

// Whether the entry is a package.
bool pkgs_available_t::add_package(const document_entry& entry, const framework::LazyObject& map,
                                   package_map& packages) {
  if (!is_version_key(entry.name)) {
    refused_.push_back(entry.name);
    return false;
  }
  packages.push_back(make_package(entry.name, map));
  return true;
}

bool has_vanished(const package_t& package) {
  try {
    return package.meta.map().values().contains(kVanished);
  } catch (const framework::JsonError&) {
    return false;  // of names that were chosen nothing is known
  }
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
  // What is here again is not merely kept.
  if (std::erase_if(deprecated_, [&](const package_t& package) {
        return find_exact(packages_, package.identity) != nullptr && has_vanished(package);
      }) > 0) {
    set_deprecated(open_object(deprecated_) + '}');
  }
}

void pkgs_available_t::keep_vanished(std::span<const package_t* const> packages) {
  if (packages.empty()) return;
  std::string deprecated = open_object(deprecated_);
  for (const package_t* package : packages) {
    const std::string_view map = package->meta.map().text();
    std::string text(map.substr(0, map.size() - 1));
    append_member(text, kVanished, "true");
    append_member(deprecated, package->key, text + '}');
  }
  set_deprecated(deprecated + '}');
}

// Makes the member for deprecated packages anew.
void pkgs_available_t::set_deprecated(std::string text) {
  auto parsed = framework::LazyDocument::parse(std::move(text));
  if (!parsed) throw framework::JsonError(parsed.error());  // nested deeper than before
  std::shared_ptr<framework::LazyDocument> document = std::move(*parsed);
  const member_t member{kDeprecated, &document->object(document->root()), false};
  const auto old = std::find_if(members_.begin(), members_.end(), [](const member_t& one) {
    return !one.is_package && one.key == kDeprecated;
  });
  if (old != members_.end()) {
    *old = member;
  } else {
    members_.push_back(member);
  }
  deprecated_.clear();
  for (const document_entry& entry : document->members(document->root())) {
    deprecated_.push_back(make_package(entry.name, document->object(entry.text)));
  }
  sort_packages(deprecated_);
  documents_.push_back(std::move(document));
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
