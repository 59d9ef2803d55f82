// Ties the packages of one store together: every document that a package needs from outside must be
// offered by one of its references, and each reference must be there for a reason.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "demo/draft.h"

namespace zendro::demo {

/// Checks the demands of all documents against what their own package, its references and
/// `builtin` offer. A schema that is imported by namespace from a referenced package also gets the
/// location under which the importing document looks for it. Throws std::runtime_error with one
/// line for each fault.
void link_packages(std::vector<Draft>& drafts, const std::set<std::string>& builtin);

}  // namespace zendro::demo
