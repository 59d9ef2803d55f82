// Whether packages could be installed, found out before anything is touched.
#pragma once

#include <cstdint>
#include <set>

#include "pkg/core_context.h"
#include "pkg/folder_owners.h"
#include "pkg/package_list.h"

namespace zendro::pkg {

/// Refuses metadata of the wrong types, folders that lead elsewhere, and folders that another
/// package owns. Its answers stay true as long as it lives, since it holds the lock of the folders
/// that several managers share, see folder_owners.
class request_check {
 public:
  /// `removed` are those of the installed packages that will be gone by then. The lists outlive the
  /// check.
  request_check(core_context& context, const pkgs_available_t& available,
                const pkgs_available_t& installed, const std::set<name_semver_t>& removed = {});

  /// Reports what speaks against installing this package beside those checked before. Throws
  /// metadata_error.
  bool check(const package_t& package);

  /// How many members the packages have that were checked.
  [[nodiscard]] std::uint64_t members() const { return members_; }

 private:
  folder_owners owners_;
  std::uint64_t members_ = 0;
};

}  // namespace zendro::pkg
