// Failures of the operating system as texts. Stateless.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::framework {

/// The system's text for one of its error codes: UTF-8, on one line.
std::string system_cause(int code);

/// "<label>: <the system's text>".
IoError system_error(std::string_view label, int code);

/// The text of an exception, in UTF-8. The one that a std::system_error makes itself is on Windows
/// in the code page of the user.
std::string exception_text(const std::exception& exception);

}  // namespace zendro::framework
