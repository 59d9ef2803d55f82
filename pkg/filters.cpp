#include "pkg/filters.h"

#include <optional>

#include "app/options/package_types.h"
#include "pkg/package_file.h"

namespace zendro::pkg {

filters_t sort_filters(const core_context& context, const std::vector<std::string>& filters) {
  const std::string_view extension = app::package_type(context.type()).file_extension;
  filters_t sorted;
  for (const std::string& filter : filters) {
    if (!extension.empty() && filter.ends_with(extension)) {
      sorted.files.insert(filter);
    } else {
      sorted.names.push_back(filter);
    }
  }
  return sorted;
}

bool read_package_files(core_context& context, const filters_t& filters,
                        std::vector<std::string>& names) {
  for (const std::string& file : filters.files) {
    const std::optional<std::vector<std::string>> provided = read_package_file(context, file);
    if (!provided) return false;
    if (provided->empty()) {
      context.log(msg::Code::log_zendropkg_provides_ignored, msg::kLevelProgress,
                  {path_argument(file), context.pkgtypes()});
    }
    names.insert(names.end(), provided->begin(), provided->end());
  }
  return true;
}

bool resolve_filters(core_context& context, const std::vector<std::string>& filters,
                     const pkgs_available_t& available, std::set<name_semver_t>& requests) {
  for (const std::string& filter : filters) {
    const package_t* found = find_best(available.packages(), parse_identity(filter));
    if (found == nullptr) {
      return context.fail(msg::Code::pkg_not_available,
                          {text_argument(L"pkg", filter), context.pkgtype()});
    }
    if (requests.insert(found->identity).second) {
      context.log(
          msg::Code::log_pkg_filter, msg::kLevelDetail,
          {text_argument(L"filter", filter), context.pkgtype(), pkg_argument(found->identity)});
    }
  }
  return true;
}

}  // namespace zendro::pkg
