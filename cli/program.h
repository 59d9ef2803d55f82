// The program from its arguments to its exit status.
#pragma once

#include <string>
#include <vector>

namespace zendro::cli {

/// `arguments` are UTF-8, the program's name first.
int run_program(const std::vector<std::string>& arguments);

}  // namespace zendro::cli
