// Which packages of a removal have to stay because packages that stay reference them.
#pragma once

#include <map>
#include <vector>

#include "pkg/references.h"

namespace zendro::pkg {

/// A package that stays, and a package that references it.
struct kept_package_t {
  const package_t* package;
  const package_t* referrer;
};

struct removal_plan_t {
  std::vector<const package_t*> removed;  ///< in package order
  std::vector<kept_package_t> kept;       ///< in the order in which it was found out
};

/// By package that is replaced: the patch levels of its line that take its place.
using level_successors = std::map<const package_t*, std::vector<semver_t>>;

/// Plans the removal of `removal` from `installed`, both in package order. A package stays when one
/// that stays references it: by a text whose name occurs in the package's name, without regard to
/// case, and whose version matches. What stays holds in turn what it references. A reference that a
/// new level of the package fulfils as well does not hold it; `new_levels` has all of `removal`, or
/// is empty.
removal_plan_t plan_removal(const std::vector<const package_t*>& installed,
                            const std::vector<const package_t*>& removal,
                            const metadata_texts& texts, const level_successors& new_levels = {});

/// The entries of a list, in package order.
std::vector<const package_t*> all_of(const package_map& packages);

}  // namespace zendro::pkg
