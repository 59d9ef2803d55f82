// The filters of a request: which of them name packages, and which package files.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "pkg/core_context.h"
#include "pkg/name_semver.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// The filters of one request.
struct filters_t {
  struct by_length {
    bool operator()(const std::string& a, const std::string& b) const {
      return a.size() != b.size() ? a.size() < b.size() : a < b;
    }
  };
  std::vector<std::string> names;          ///< in the order given
  std::set<std::string, by_length> files;  ///< package files: shorter paths first, then by bytes
};

/// Filters that end with the type's package-file extension (case matters) name package files.
filters_t sort_filters(const core_context& context, const std::vector<std::string>& filters);

/// Reads the package files in their order and appends the names that they provide to `names`. One
/// that provides nothing is logged and passed over. False when one cannot be read.
bool read_package_files(core_context& context, const filters_t& filters,
                        std::vector<std::string>& names);

/// Adds the version of the available list that each filter chooses, and logs which. False after the
/// message for one that chooses none.
bool resolve_filters(core_context& context, const std::vector<std::string>& filters,
                     const pkgs_available_t& available, std::set<name_semver_t>& requests);

}  // namespace zendro::pkg
