#include "pkg/merged_view.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace zendro::pkg {
namespace {

enum class source { installed, installed_deprecated, available, available_deprecated };

// Merges one sorted map into the sorted rows. Maps come in the order of preference of their
// metadata, so a row that exists keeps it and only learns one more fact.
void merge(std::vector<version_view_t>& rows, const package_map& packages, source from) {
  if (packages.empty()) return;
  std::vector<version_view_t> merged;
  merged.reserve(rows.size() + packages.size());
  auto row = rows.begin();
  for (const package_t& package : packages) {
    while (row != rows.end() && row->identity < package.identity)
      merged.push_back(std::move(*row++));
    if (row != rows.end() && row->identity == package.identity) {
      merged.push_back(std::move(*row++));
    } else {
      merged.push_back({package.identity, package.meta, false, false, false});
    }
    version_view_t& fact = merged.back();
    fact.installed |= from == source::installed;
    fact.available |= from == source::available;
    fact.deprecated |= from == source::installed_deprecated || from == source::available_deprecated;
  }
  std::move(row, rows.end(), std::back_inserter(merged));
  rows = std::move(merged);
}

}  // namespace

merged_view_t::merged_view_t(pkgs_available_t available_list, pkgs_available_t installed_list)
    : available(std::move(available_list)), installed(std::move(installed_list)) {
  merge(versions, installed.packages(), source::installed);
  merge(versions, available.packages(), source::available);
  merge(versions, installed.deprecated(), source::installed_deprecated);
  merge(versions, available.deprecated(), source::available_deprecated);
}

}  // namespace zendro::pkg
