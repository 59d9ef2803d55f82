#include "app/command_line.h"

namespace zendro::app {

CommandLine parse_command_line(std::span<const std::string> arguments) {
  CommandLine result;
  bool expect_installer = false;
  for (const std::string& argument : arguments) {
    if (argument.starts_with('-')) {
      if (argument == "--id") result.ids_mode = true;
      expect_installer = argument == "--pc";
    } else if (expect_installer) {
      result.installer = argument;
      expect_installer = false;
    } else {
      result.arguments.push_back(argument);
    }
  }
  return result;
}

}  // namespace zendro::app
