// What the program was started with. The grammar itself is in arguments.cpp and nowhere else.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "console/grammar.h"

namespace zendro::store {

struct Arguments : console::OutputStyle {
  std::string command;  ///< "init", ...

  // What most commands work on: the folder of sources, a published tree, or the URL of a store.
  std::string place;
  std::string output;                   ///< -o
  std::vector<std::string> identities;  ///< package versions; of mirror: filters

  // Of init, mirror.
  std::string type = "xsd";
  std::string url;  ///< where the store will be served

  // Of add.
  std::vector<std::string> sources;
  std::string name;
  std::string version;
  std::string title;
  std::string description;
  std::string homepage;
  std::string publisher;
  std::vector<std::string> references;
  std::vector<std::string> conflicts;
  bool replace = false;

  // Of sign, keygen.
  std::string key;
  std::string public_key;
  std::string comment;
  bool no_password = false;
  bool force = false;

  // Of serve, publish, web-config, completion.
  std::string listen;
  std::string target;  ///< s3://bucket/prefix
  std::string endpoint;
  std::string server;
  std::string shell;
};

/// Reads the arguments that follow the program's name. The exit status where the program ends with
/// that: help and version are written to `out`, what is wrong with the arguments to `err`.
std::optional<int> parse_arguments(std::vector<std::string> words, Arguments& arguments,
                                   std::ostream& out, std::ostream& err);
std::vector<console::CommandGrammar> command_grammar();

}  // namespace zendro::store
