// Whether all document type definitions of a package can be read.
#pragma once

#include "store/check/finding.h"
#include "store/check/link_check.h"
#include "store/check/resolver.h"

namespace zendro::store {

/// Reads each document type definition with the parts that it takes in; what stands in ignored
/// sections counts for nothing.
Findings check_dtds(const Resolver& resolver, const BuiltinNames& builtin,
                    const FindSupplier& find_supplier);

}  // namespace zendro::store
