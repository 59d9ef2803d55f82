// Checks of a list for which no member is needed.
#pragma once

#include "store/check/finding.h"
#include "store/check/loaded_store.h"

namespace zendro::store {

/// Keys, types of members, names, digests' form, folders that clients refuse or that belong to
/// another package, member paths that clients do not ask for.
Findings check_entries(const LoadedStore& store);

/// References and conflicts: what nothing matches, what leads in circles, and versions that no
/// client can install because what belongs together is in conflict.
Findings check_relations(const LoadedStore& store);

}  // namespace zendro::store
