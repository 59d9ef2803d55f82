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

// What the key says where it is one of a package version, see is_version_key().
std::optional<name_semver_t> version_of(std::string_view key) {
  const std::span<const app::PackageType> types = app::package_types();
  const bool is_file_name = std::any_of(
      types.begin(), types.end(),
      [key](const app::PackageType& type) { return key.ends_with(type.file_extension); });
  if (key.size() > kLongestKey || is_file_name || key.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  name_semver_t identity = parse_identity(key);
  // What is given has no gap.
  if (identity.name.empty() || identity.version.patch == kAnyPart) return std::nullopt;
  return identity;
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

bool is_version_key(std::string_view key) { return version_of(key).has_value(); }

pkgs_available_t::pkgs_available_t(std::shared_ptr<framework::LazyDocument> document,
                                   std::span<const std::string_view> not_packages) {
  require_at_most(kMostValues, document->value_count(), "values");
  source_t source{*document, {}, 0, not_packages};
  source.members = document->all_members(document->root(), kMostEntries, source.count);
  require_at_most(kMostEntries, source.count, "entries");
  if (!read_in_order(source)) {
    framework::LazyDocument::drop_repeated(source.members);
    *this = {};
    read(source, false);
    sort_packages(packages_);
  }
  members_ = std::move(source.members);
  std::erase_if(members_, [not_packages](const document_entry& member) {
    return std::find(not_packages.begin(), not_packages.end(), member.name) != not_packages.end();
  });
  documents_.push_back(std::move(document));
}

// Entries mostly stand in the order of their identities, and then no name is there twice. To look
// for repeated names takes longer than all of this, so it is done only where there is no order, or
// an entry is at fault that another one may replace: false.
bool pkgs_available_t::read_in_order(const source_t& source) {
  try {
    return read(source, true);
  } catch (const framework::JsonError&) {
    return false;
  }
}

// Whether it is known that no name is there twice. Ends at the first package that is not in order
// where that is needed.
bool pkgs_available_t::read(const source_t& source, bool is_order_needed) {
  const auto& [document, members, count, not_packages] = source;
  std::vector<std::string_view> others;  // the names of what is no package
  packages_.reserve(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i + kAskedForAhead < members.size()) {
      __builtin_prefetch(members[i + kAskedForAhead].text.data());
    }
    const document_entry& member = members[i];
    const std::string_view key = member.name;
    if (std::find(not_packages.begin(), not_packages.end(), key) != not_packages.end()) {
      others.push_back(key);
      continue;
    }
    const framework::LazyObject& map = document.object(member.text);
    bool is_package = false;
    if (key == kDeprecated) {
      read_deprecated(source, member);
    } else {
      require_modest(member, document);
      if (key == kMeta) {
        if (const json::value* number = map.values().if_contains(kBuildNumber)) {
          build_number_ = framework::to_int64(*number);
        }
      } else {
        is_package = add_package(member, map, packages_);
      }
    }
    if (!is_package) {
      others.push_back(key);
    } else if (is_order_needed && packages_.size() > 1 &&
               !identity_less(packages_[packages_.size() - 2], packages_.back())) {
      return false;
    }
  }
  std::sort(others.begin(), others.end());
  return std::adjacent_find(others.begin(), others.end()) == others.end();
}

void pkgs_available_t::read_deprecated(const source_t& source, const document_entry& entry) {
  framework::LazyDocument& document = source.document;
  std::size_t count = 0;
  std::vector<document_entry> entries = document.all_members(entry.text, kMostEntries, count);
  require_at_most(kMostEntries, source.count + count, "entries");
  framework::LazyDocument::drop_repeated(entries);
  for (const document_entry& deprecated : entries) {
    require_modest(deprecated, document);
    add_package(deprecated, document.object(deprecated.text), deprecated_);
  }
  sort_packages(deprecated_);
}

// Whether the entry is a package.
bool pkgs_available_t::add_package(const document_entry& entry, const framework::LazyObject& map,
                                   package_map& packages) {
  std::optional<name_semver_t> identity = version_of(entry.name);
  if (!identity) {
    refused_.push_back(entry.name);
    return false;
  }
  packages.push_back({std::move(*identity), entry.name, meta_t(map)});
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

  std::vector<document_entry> members;
  members.reserve(members_.size() + added.size());
  auto next = added.begin();
  const auto add_next = [&] {
    members.push_back({(*next)->key, (*next)->meta.map().text()});
    ++next;
  };
  for (const document_entry& member : members_) {
    if (const std::optional<name_semver_t> identity = version_of(member.name)) {
      while (next != added.end() && (*next)->identity < *identity) add_next();
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
  const document_entry member{kDeprecated, document->root()};
  const auto old = std::find_if(members_.begin(), members_.end(),
                                [](const document_entry& one) { return one.name == kDeprecated; });
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
  std::erase_if(members_, [&](const document_entry& member) {
    const std::optional<name_semver_t> identity = version_of(member.name);
    return identity && is_removed(*identity);
  });
  std::erase_if(packages_, [&](const package_t& package) { return is_removed(package.identity); });
}

std::string pkgs_available_t::serialise() const {
  std::string out;
  std::size_t expected_size = 0;
  for (const document_entry& member : members_) {
    expected_size += member.name.size() + member.text.size() + kSeparatorsSize;
  }
  out.reserve(expected_size);
  framework::JsonWriter writer(out);
  out += '{';
  const char* separator = "\n";
  for (const document_entry& member : members_) {
    out += separator;
    separator = ",\n";
    writer.append(member.name);
    out += ':';
    framework::append_object(writer, member.text);
  }
  out += "\n}\n";
  return out;
}

}  // namespace zendro::pkg
