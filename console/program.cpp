#include "console/program.h"

#include <iostream>
#include <memory>

#include "framework/system/broken_pipe.h"
#include "framework/system/guarded.h"

#include "console/exit_status.h"
#include "console/terminal.h"

namespace zendro::console {

int run_program(const std::vector<std::string>& arguments,
                int (*program)(const std::vector<std::string>& words)) {
  const std::shared_ptr<void> console = set_console_up();
  framework::ignore_broken_pipes();
  int status = kFailed;
  framework::guarded(
      [&] {
        status = program({arguments.begin() + 1, arguments.end()});
      },
      [](const std::string& failure) { std::cerr << failure << '\n'; });
  return status;
}

}  // namespace zendro::console
