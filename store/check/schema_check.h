// Whether all schemas of a package compile.
#pragma once

#include "store/check/finding.h"
#include "store/check/link_check.h"
#include "store/check/resolver.h"

namespace zendro::store {

/// Compiles each schema of the package once, with what it takes in or by what takes it in. What
/// `links` tells already, and what follows from that, is not said again.
Findings check_schemas(const Resolver& resolver, const LinkCheck& links);

}  // namespace zendro::store
