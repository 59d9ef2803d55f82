// Other programs as processes.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace zendro::tests {

/// The program of this name that was built beside the tests.
std::filesystem::path built_program(const std::string& name);

struct ProcessOutcome {
  int status;
  std::string out;
  std::string err;
};

/// Runs a program to its end, without input. Arguments are UTF-8; the environment is inherited.
ProcessOutcome run_process(const std::filesystem::path& program,
                           const std::vector<std::string>& arguments);

}  // namespace zendro::tests
