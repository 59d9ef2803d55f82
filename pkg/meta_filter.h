// Choosing entries of the lists to be shown or worked on.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "pkg/merged_view.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// The available patch for an installed package: the highest level of its line that is higher than
/// every installed one. Null where there is none, and for a level beside which a newer one is
/// installed.
const package_t* patch_for(const package_t& package, const pkgs_available_t& available,
                           const pkgs_available_t& installed);

/// The installed packages that an uninstall of the filters would choose, in package order; all of
/// them where there are no filters.
std::vector<const package_t*> select_installed(const pkgs_available_t& installed,
                                               const std::vector<std::string>& filters);

struct meta_filter_options {
  std::string text;           ///< without regard to ASCII case; empty: any
  bool descriptions = false;  ///< looked for in titles, descriptions and publishers, too
};

/// Whether the text occurs in what an entry says of itself. What is of the wrong type says nothing.
class meta_filter {
 public:
  explicit meta_filter(const meta_filter_options& options);
  [[nodiscard]] bool matches(const name_semver_t& identity, const meta_t& meta) const;

 private:
  [[nodiscard]] bool occurs_in(std::string_view text) const;

  std::string text_;
  bool descriptions_;
};

}  // namespace zendro::pkg
