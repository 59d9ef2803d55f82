// Entry point, with the arguments as Windows has them.
#include "framework/text/utf8.h"

#include "console/program.h"

int wmain(int argc, wchar_t** argv) {
  std::vector<std::string> arguments;
  for (int index = 0; index < argc; ++index) {
    arguments.push_back(zendro::framework::to_utf8(argv[index]));
  }
  return zendro::console::run_program(arguments, zendro::console::run);
}
