#include "pkg/request_check.h"

#include "pkg/catalogs.h"
#include "pkg/package_folder.h"

namespace zendro::pkg {

request_check::request_check(core_context& context, const pkgs_available_t& available,
                             const pkgs_available_t& installed,
                             const std::set<name_semver_t>& removed)
    : owners_(context, installed, removed) {
  owners_.keep_for(available.packages());
}

bool request_check::check(const package_t& package) {
  check_catalog_entries(package);
  return read_metadata(package, [&](const meta_t& meta) {
    if (const json::object* files = meta.files()) {
      for (const json::key_value_pair& file : *files) framework::as_string(file.value());
      members_ += files->size();
    }
    return owners_.check(package);
  });
}

}  // namespace zendro::pkg
