#include "pkg/meta_filter.h"

#include <algorithm>
#include <set>

#include "framework/text/ascii.h"
#include "pkg/identity_index.h"
#include "pkg/removal_plan.h"

namespace zendro::pkg {

const package_t* patch_for(const package_t& package, const pkgs_available_t& available,
                           const pkgs_available_t& installed) {
  name_semver_t line = package.identity;
  line.version.patch = kAnyPart;
  if (find_best(installed.packages(), line) != &package) return nullptr;
  const package_t* best = find_best(available.packages(), line);
  const bool is_newer =
      best != nullptr && best->identity.version.patch > package.identity.version.patch;
  return is_newer ? best : nullptr;
}

std::vector<const package_t*> select_installed(const pkgs_available_t& installed,
                                               const std::vector<std::string>& filters) {
  const package_map& packages = installed.packages();
  if (filters.empty()) return all_of(packages);
  std::vector<name_semver_t> identities;
  for (const package_t& package : packages) identities.push_back(package.identity);
  identity_index index(identities);
  std::set<std::size_t> chosen;
  for (const std::string& filter : filters) {
    for (const std::size_t position : index.take(parse_identity(filter))) chosen.insert(position);
  }
  std::vector<const package_t*> selected;
  for (const std::size_t position : chosen) selected.push_back(&packages[position]);
  return selected;
}

meta_filter::meta_filter(const meta_filter_options& options)
    : text_(framework::ascii_lower(options.text)), descriptions_(options.descriptions) {}

bool meta_filter::occurs_in(std::string_view text) const {
  return framework::ascii_lower(text).find(text_) != std::string::npos;
}

bool meta_filter::matches(const name_semver_t& identity, const meta_t& meta) const {
  if (text_.empty() || occurs_in(to_string(identity))) return true;
  if (!descriptions_) return false;
  try {
    return occurs_in(meta.title()) || occurs_in(meta.description()) || occurs_in(meta.publisher());
  } catch (const framework::JsonError&) {
    return false;
  }
}

}  // namespace zendro::pkg
