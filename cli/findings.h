// What a verification found, in words.
#pragma once

#include <string>

#include "pkg/verify.h"

namespace zendro::cli {

/// "damaged", ...
std::string state_name(pkg::member_state state);

}  // namespace zendro::cli
