// Whether the names that a package claims lead into its members.
#pragma once

#include "store/check/finding.h"
#include "store/check/resolver.h"

namespace zendro::store {

/// Locations, namespaces, public identifiers, mapped prefixes and entry points of a package whose
/// members are all there. `entry_file` as LoadedStore has it.
Findings check_targets(const Resolver& resolver, const pkg::package_t& package,
                       const std::string& entry_file);

}  // namespace zendro::store
