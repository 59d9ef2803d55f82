// Whether everything that the documents of a package name is there.
#pragma once

#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "store/check/finding.h"
#include "store/check/resolver.h"
#include "store/scan/builtin.h"

namespace zendro::store {

/// What a namespace or location needs that nothing resolves: a reference to a package of the store
/// that has it; empty where none has.
using FindSupplier = std::function<std::string(std::string_view name)>;

struct LinkCheck {
  Findings findings;
  std::set<std::string> taken_in;    ///< paths of schemas that others of the package take in
  std::set<std::string> incomplete;  ///< namespaces of which a document is missing
};

/// Follows the imports, includes and links of the schemas and linkbases of a package.
LinkCheck check_links(const Resolver& resolver, const BuiltinNames& builtin,
                      const FindSupplier& find_supplier);

}  // namespace zendro::store
