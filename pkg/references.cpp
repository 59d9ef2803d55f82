#include "pkg/references.h"

#include <utility>
#include <vector>

namespace zendro::pkg {

void collect_references(const name_semver_t& package, const pkgs_available_t& available,
                        std::set<name_semver_t>& result) {
  const package_t* entry = available.find_entry(package);
  if (entry == nullptr) return;
  std::vector<const package_t*> open = {entry};
  while (!open.empty()) {
    const package_t& current = *open.back();
    open.pop_back();
    const std::vector<std::string_view> references =
        read_metadata(current, [](const meta_t& meta) { return meta.references(); });
    for (const std::string_view reference : references) {
      name_semver_t key = parse_identity(reference);
      const package_t* found = find_best(available.packages(), key);
      if (found == nullptr) {
        result.insert(std::move(key));
      } else if (result.insert(found->identity).second) {
        open.push_back(found);
      }
    }
  }
}

}  // namespace zendro::pkg
