#include "pkg/references.h"

#include <utility>
#include <vector>

namespace zendro::pkg {

std::set<name_semver_t> collect_references(const std::set<name_semver_t>& packages,
                                           const pkgs_available_t& available) {
  const package_map_t& entries = available.packages();
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
