// A program from its arguments to its exit status.
#pragma once

#include <string>
#include <vector>

namespace zendro::console {

/// What each program defines: runs it with the arguments that follow its name.
int run(const std::vector<std::string>& words);

/// Runs a program on its terminal; `arguments` are UTF-8, the program's name first.
int run_program(const std::vector<std::string>& arguments,
                int (*program)(const std::vector<std::string>& words));

}  // namespace zendro::console
