// What the program was started with. The grammar itself is in arguments.cpp and nowhere else.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "console/grammar.h"

namespace zendro::cli {

enum class Listed { all, installed, upgradeable, available };

struct Arguments : console::OutputStyle {
  std::string command;  ///< "install", ...

  // Of every command.
  std::string type = "xsd";
  std::string root;  ///< empty: the machine's
  bool yes = false;
  bool no_wait = false;

  // Of some.
  std::vector<std::string> filters;
  std::string text;
  std::string file;    ///< --from, --locked
  std::string output;  ///< -o
  std::string shell;
  Listed listed = Listed::all;
  bool dry_run = false;
  bool keep_references = false;
  bool repair = false;
};

/// Reads the arguments that follow the program's name. The exit status where the program ends with
/// that: help and version are written to `out`, what is wrong with the arguments to `err`.
std::optional<int> parse_arguments(std::vector<std::string> words, Arguments& arguments,
                                   std::ostream& out, std::ostream& err);

std::vector<console::CommandGrammar> command_grammar();

}  // namespace zendro::cli
