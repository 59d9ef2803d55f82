// The arguments that Windows started the process with.
#pragma once

#include <string>
#include <vector>

namespace zendro::app {

/// In UTF-8, the first one as it was typed. Throws std::system_error.
std::vector<std::string> process_arguments();

/// The wide argument vector; where it is missing or begins with an empty argument, the command line
/// as the system splits it. Throws std::system_error.
std::vector<std::string> process_arguments(int count, const wchar_t* const* vector,
                                           const wchar_t* command_line);

}  // namespace zendro::app
