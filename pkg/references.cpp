#include "pkg/references.h"

#include <unordered_set>
#include <utility>

namespace zendro::pkg {

template <typename Read>
std::vector<std::string_view> metadata_texts::texts(const package_t& package,
                                                    const Read& read) const {
  if (!problem_) return read_metadata(package, read);
  try {
    return read(package.meta);
  } catch (const framework::JsonError& error) {
    problem_(package, error);
    return {};
  }
}

std::vector<std::string_view> metadata_texts::references(const package_t& package) const {
  return texts(package, [](const meta_t& meta) { return meta.references(); });
}

std::vector<std::string_view> metadata_texts::conflicts(const package_t& package) const {
  return texts(package, [](const meta_t& meta) { return meta.conflicting_pkgs(); });
}

const reference_table::references_t& reference_table::of(list_position package) const {
  std::optional<references_t>& cached = references_[package];
  if (!cached) {
    cached.emplace();
    // Two texts may choose one version ("a" and "a-1").
    std::unordered_set<list_position> seen;
    for (const std::string_view text : texts_.references(packages_[package])) {
      name_semver_t key = parse_identity(text);
      const package_t* found = find_best(packages_, key);
      if (found == nullptr) {
        cached->unknown.push_back(std::move(key));
      } else if (seen.insert(position_of(packages_, *found)).second) {
        cached->found.push_back(position_of(packages_, *found));
      }
    }
  }
  return *cached;
}

list_position position_of(const package_map& packages, const package_t& package) {
  return static_cast<list_position>(&package - packages.data());
}

std::set<name_semver_t> collect_references(const std::set<name_semver_t>& packages,
                                           const pkgs_available_t& available) {
  const package_map& entries = available.packages();
  std::vector<bool> reached(entries.size());
  std::set<name_semver_t> unknown;
  std::vector<const package_t*> open;
  for (const name_semver_t& package : packages) {
    if (const package_t* entry = available.find_entry(package)) open.push_back(entry);
    while (!open.empty()) {
      const package_t& current = *open.back();
      open.pop_back();
      const std::vector<std::string_view> references =
          read_metadata(current, [](const meta_t& meta) { return meta.references(); });
      for (const std::string_view reference : references) {
        name_semver_t key = parse_identity(reference);
        const package_t* found = find_best(entries, key);
        if (found == nullptr) {
          unknown.insert(std::move(key));
          continue;
        }
        const auto position = static_cast<std::size_t>(found - entries.data());
        if (reached[position]) continue;
        reached[position] = true;
        open.push_back(found);
      }
    }
  }
  // In the order of the list, which is that of the set.
  std::set<name_semver_t> result;
  for (std::size_t position = 0; position < entries.size(); ++position) {
    if (reached[position]) result.insert(result.end(), entries[position].identity);
  }
  result.merge(unknown);
  return result;
}

}  // namespace zendro::pkg
