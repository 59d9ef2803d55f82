// The version of the program, as its build names it.
#pragma once

#include <string_view>

namespace zendro::framework {

/// "<major>.<minor>.<patch>".
std::string_view program_version();

}  // namespace zendro::framework
