// Failures of the operating system as texts. Stateless.
#pragma once

#include <string>
#include <string_view>

#include "framework/io.h"

namespace zendro::framework {

/// The system's text for one of its error codes: UTF-8, on one line.
std::string system_cause(int code);

/// "<label>: <the system's text>".
IoError system_error(std::string_view label, int code);

}  // namespace zendro::framework
