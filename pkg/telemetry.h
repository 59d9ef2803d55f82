// Telling the store what was installed.
#pragma once

#include <set>

#include "pkg/core_context.h"

namespace zendro::pkg {

/// POSTs the identities and the installer as JSON, unless the options say that nothing is sent.
/// Best effort: a failure is a warning.
bool send_install_telemetry(core_context& context, const std::set<name_semver_t>& packages);

}  // namespace zendro::pkg
