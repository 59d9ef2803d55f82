#include "store/check/store_names.h"

#include <algorithm>

#include "pkg/local_files.h"

namespace zendro::store {
namespace {

using pkg::local::key_kind;

StoreNames::Kind kind_of(key_kind kind) {
  switch (kind) {
    case key_kind::name_space:
      return StoreNames::Kind::name_space;
    case key_kind::public_id:
      return StoreNames::Kind::public_id;
    default:
      return StoreNames::Kind::location;
  }
}

std::string reference_to(const pkg::package_t& package) {
  pkg::name_semver_t key = package.identity;
  key.version.patch = pkg::kAnyPart;
  return to_string(key);
}

}  // namespace

StoreNames::StoreNames(const pkg::pkgs_available_t& list) {
  for (const pkg::package_t& package : list.packages()) {
    try {
      add(package);
    } catch (const framework::JsonError&) {  // NOLINT(bugprone-empty-catch)
      // Said where the metadata is looked at.
    }
  }
}

void StoreNames::add(const pkg::package_t& package) {
  for (const pkg::local::key_t& key : pkg::describe(package).keys) {
    claims_[kind_of(key.kind)][key.key].push_back(&package);
  }
  if (const auto* mappings = package.meta.uri_mappings()) {
    for (const auto& [from, to] : *mappings) {
      claims_[Kind::mapping][{from.data(), from.size()}].push_back(&package);
    }
  }
}

std::string StoreNames::supplier_of(std::string_view name) const {
  for (const Kind kind : {Kind::location, Kind::name_space, Kind::public_id}) {
    const auto claims = claims_.find(kind);
    if (claims == claims_.end() || name.empty()) continue;
    for (std::string_view at = name; !at.empty(); at.remove_suffix(1)) {
      if (at != name && !at.ends_with('/')) continue;
      const auto found = claims->second.find(at);
      if (found != claims->second.end()) return reference_to(*found->second.front());
      if (kind != Kind::location) break;
    }
  }
  return {};
}

bool StoreNames::is_contested(const std::vector<const pkg::package_t*>& claimants) {
  return std::any_of(claimants.begin(), claimants.end(), [&](const pkg::package_t* one) {
    return one->identity.name != claimants.front()->identity.name;
  });
}

const std::vector<const pkg::package_t*>* StoreNames::contested(Kind kind,
                                                                std::string_view name) const {
  const auto claims = claims_.find(kind);
  if (claims == claims_.end()) return nullptr;
  const auto found = claims->second.find(name);
  if (found == claims->second.end() || !is_contested(found->second)) return nullptr;
  return &found->second;
}

void StoreNames::for_each_contested(
    const std::function<void(Kind, std::string_view, const std::vector<const pkg::package_t*>&)>&
        use) const {
  for (const auto& [kind, claims] : claims_) {
    for (const auto& [name, claimants] : claims) {
      if (is_contested(claimants)) use(kind, name, claimants);
    }
  }
}

}  // namespace zendro::store
