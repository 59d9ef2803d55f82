#include "store/check/resolver.h"

#include <algorithm>

#include "framework/text/url_parts.h"
#include "pkg/local/names.h"

#include "store/scan/document.h"

namespace zendro::store {
namespace {

/// The longest key for which `fits` holds that the text begins with, and its value; the end of the
/// map where there is none.
template <typename Fits>
NameMap::const_iterator longest_prefix(const NameMap& names, std::string_view text,
                                       const Fits& fits) {
  // Between a prefix and its text stands in the order only what begins with that prefix, too: of
  // the key before the text only the part counts that both have.
  while (!text.empty()) {
    auto key = names.upper_bound(text);
    if (key == names.begin()) break;
    --key;
    const std::string_view name = key->first;
    const auto common = static_cast<std::size_t>(
        std::mismatch(name.begin(), name.end(), text.begin(), text.end()).first - name.begin());
    const bool is_prefix = common == name.size();
    if (is_prefix && fits(name)) return key;
    text = text.substr(0, is_prefix && common > 0 ? common - 1 : common);
  }
  return names.end();
}

}  // namespace

std::optional<Resolver::Target> Resolver::target(const PackageContents& package,
                                                 std::string_view path) {
  const auto file = package.find_file(path);
  if (file == package.files.end()) return std::nullopt;
  return Target{&package, file->first, file->second};
}

std::optional<Resolver::Target> Resolver::find_uri(std::string_view uri) const {
  constexpr int most_steps = 32;  // mappings may lead in circles
  std::string at = normalised_url(uri);
  for (int step = 0; step < most_steps; ++step) {
    if (auto found = find_exactly(at)) return found;
    if (auto found = find_below_prefix(at)) return found;
    if (auto found = find_file(at)) return found;
    auto mapped = map(at);
    if (!mapped) break;
    at = std::move(*mapped);
  }
  return std::nullopt;
}

std::optional<Resolver::Target> Resolver::find_exactly(std::string_view uri) const {
  for (const auto& package : packages_) {
    const auto entry = package->locations.find(uri);
    if (entry == package->locations.end()) continue;
    if (auto found = target(*package, entry->second)) return found;
  }
  return std::nullopt;
}

std::optional<Resolver::Target> Resolver::find_below_prefix(std::string_view uri) const {
  const auto is_folder = [](std::string_view key) { return key.ends_with('/'); };
  for (const auto& package : packages_) {
    const auto entry = longest_prefix(package->locations, uri, is_folder);
    if (entry == package->locations.end()) continue;
    const std::string path = entry->second + std::string(uri.substr(entry->first.size()));
    if (auto found = target(*package, path)) return found;
  }
  return std::nullopt;
}

// A package URL names a file by itself.
std::optional<Resolver::Target> Resolver::find_file(std::string_view uri) const {
  const std::string path = pkg::local::file_path_of_url(uri);
  const std::size_t slash = path.find('/');
  if (slash == std::string::npos) return std::nullopt;
  for (const auto& package : packages_) {
    if (package->identity != std::string_view(path).substr(0, slash)) continue;
    return target(*package, path.substr(slash + pkg::local::kFilesFolder.size() + 2));
  }
  return std::nullopt;
}

bool Resolver::has_location_below(std::string_view prefix) const {
  const auto is_folder = [](std::string_view key) { return key.ends_with('/'); };
  return std::any_of(packages_.begin(), packages_.end(), [&](const auto& package) {
    const NameMap& locations = package->locations;
    const auto first = locations.lower_bound(prefix);
    return (first != locations.end() && first->first.starts_with(prefix)) ||
           longest_prefix(locations, prefix, is_folder) != locations.end();
  });
}

std::optional<std::string> Resolver::map(std::string_view uri) const {
  const auto any = [](std::string_view) { return true; };
  for (const auto& package : packages_) {
    const auto entry = longest_prefix(package->mappings, uri, any);
    if (entry == package->mappings.end()) continue;
    return entry->second + std::string(uri.substr(entry->first.size()));
  }
  return std::nullopt;
}

std::optional<Resolver::Target> Resolver::find_public_id(std::string_view public_id) const {
  for (const auto& package : packages_) {
    const auto entry = package->public_ids.find(public_id);
    if (entry == package->public_ids.end()) continue;
    if (auto found = target(*package, entry->second)) return found;
  }
  return std::nullopt;
}

std::optional<Resolver::Target> Resolver::find_namespace(std::string_view xml_namespace) const {
  if (xml_namespace.empty()) return std::nullopt;
  for (const auto& package : packages_) {
    const auto entry = package->namespaces.find(xml_namespace);
    if (entry == package->namespaces.end()) continue;
    if (auto found = target(*package, entry->second)) return found;
  }
  return std::nullopt;
}

std::optional<Resolver::Target> Resolver::find_link(const Target& document,
                                                    const DocumentLink& link) const {
  std::optional<Target> found;
  if (!framework::url_scheme(link.location).empty()) {
    found = find_uri(link.location);
  } else if (!link.location.empty()) {
    found = find_uri(
        document_url(document.package->identity, resolve_path(document.path, link.location)));
  }
  if (!found && link.kind == DocumentLink::Kind::import) found = find_namespace(link.xml_namespace);
  return found;
}

}  // namespace zendro::store
