// Whether all documents of a package lead somewhere and compile.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "store/check/finding.h"
#include "store/check/resolver.h"

namespace zendro::store {

/// What a namespace or location needs that nothing resolves: a reference to a package of the store
/// that has it; empty where none has.
using FindSupplier = std::function<std::string(std::string_view name)>;

/// Follows everything that the schemas and linkbases of a package name, compiles its schemas and
/// reads its document type definitions. `builtin` as LoadedStore has it.
Findings check_documents(const Resolver& resolver, const BuiltinNames& builtin,
                         const FindSupplier& find_supplier);

}  // namespace zendro::store
