#include "store/offers.h"

#include <algorithm>

#include "framework/text/json.h"
#include "pkg/meta.h"
#include "pkg/package_url.h"

#include "store/scan/builtin.h"

namespace zendro::store {
namespace {

bool is_builtin(const Demand& demand) {
  static const BuiltinNames builtin;
  return builtin.contains(demand.xml_namespace) || builtin.contains(demand.location);
}

const json::object* map_of(const Description& package, std::string_view key) {
  const json::value* map = package.file.values.if_contains(key);
  return map == nullptr ? nullptr : map->if_object();
}

// The schema of a namespace; empty where the package has none.
std::string schema_of(const Description& package, const std::string& xml_namespace) {
  const json::object* names = map_of(package, "namespace_catalog");
  const json::value* path = names == nullptr ? nullptr : names->if_contains(xml_namespace);
  return path != nullptr && path->is_string() ? std::string(framework::as_string(*path))
                                              : std::string();
}

bool has_location(const Description& package, const std::string& location) {
  const json::object* locations = map_of(package, "catalogs");
  if (locations == nullptr || location.empty()) return false;
  return std::any_of(locations->begin(), locations->end(), [&](const auto& each) {
    const std::string_view key = each.key();
    return key == location || (key.ends_with('/') && location.starts_with(key));
  });
}

bool offers_by_name(const Description& package, const Demand& demand) {
  const json::object* names = map_of(package, "namespace_catalog");
  return has_location(package, demand.location) ||
         (names != nullptr && !demand.public_id.empty() && names->contains(demand.public_id));
}

bool offers(const Description& package, const Demand& demand) {
  return offers_by_name(package, demand) ||
         (!demand.xml_namespace.empty() && !schema_of(package, demand.xml_namespace).empty());
}

bool is_meant(const Description& package, const std::string& reference) {
  const pkg::name_semver_t pattern = pkg::parse_identity(reference);
  return package.identity.name == pattern.name &&
         pkg::matches(pattern.version, package.identity.version) && !package.is_deprecated();
}

std::string minor_version_of(pkg::name_semver_t identity) {
  identity.version.patch = pkg::kAnyPart;
  return to_string(identity);
}

// A package that was referred to already is taken before a further one.
std::string reference_for(const Demand& demand, const std::vector<std::string>& known,
                          const std::vector<Description>& packages) {
  for (const std::string& reference : known) {
    for (const Description& package : packages) {
      if (is_meant(package, reference) && offers(package, demand)) return reference;
    }
  }
  for (const Description& package : packages) {  // within a name the newest comes first
    if (!package.is_deprecated() && offers(package, demand)) {
      return minor_version_of(package.identity);
    }
  }
  return {};
}

// What a tool asks its catalogs for when it reads the document in its package.
std::string sought_location(const OpenDemand& open, const pkg::name_semver_t& identity,
                            const std::string& member) {
  const std::string& location = open.demand.location;
  if (location.empty() || is_absolute(location)) return location;
  const std::string path = resolve_path(open.path, location);
  if (path.starts_with("..") || path.starts_with('/')) return {};
  return pkg::package_url(identity, member + "|zip/" + path);
}

}  // namespace

std::vector<Fulfilment> find_references(const std::vector<OpenDemand>& open,
                                        const std::vector<std::string>& given,
                                        const std::vector<Description>& packages) {
  std::vector<Fulfilment> all;
  std::vector<std::string> known = given;
  for (const OpenDemand& one : open) {
    std::string reference = reference_for(one.demand, known, packages);
    if (reference.empty() && is_builtin(one.demand)) continue;
    if (!reference.empty()) known.push_back(reference);
    all.push_back({one, std::move(reference)});
  }
  return all;
}

std::vector<Description*> offer_location(const Fulfilment& fulfilment,
                                         const pkg::name_semver_t& identity,
                                         const std::string& member,
                                         std::vector<Description>& packages) {
  std::vector<Description*> changed;
  const Demand& demand = fulfilment.open.demand;
  const std::string location = sought_location(fulfilment.open, identity, member);
  if (location.empty()) return changed;
  for (Description& package : packages) {
    if (!is_meant(package, fulfilment.reference) || offers_by_name(package, demand)) continue;
    const std::string path = schema_of(package, demand.xml_namespace);
    if (path.empty()) continue;
    json::value& locations = package.file.values["catalogs"];
    if (!locations.is_object()) locations.emplace_object();
    if (locations.as_object().emplace(location, path).second) changed.push_back(&package);
  }
  return changed;
}

}  // namespace zendro::store
