// The command line of the program.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace zendro::app {

struct CommandLine {
  bool ids_mode = false;  ///< "--id": the arguments are package identifiers
  std::string installer;  ///< the value of "--pc"; empty where none was given
  /// What is neither an option nor an option's value. Without ids_mode the first one is the path
  /// of a package file and the others have no meaning.
  std::vector<std::string> arguments;
};

/// Reads the arguments that follow the program's name, in UTF-8. Options may stand anywhere;
/// unknown ones are ignored. Any option after "--pc" takes its place, and "--pc" at the end of the
/// line has no effect.
CommandLine parse_command_line(std::span<const std::string> arguments);

}  // namespace zendro::app
