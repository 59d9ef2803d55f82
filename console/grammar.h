// What the grammars of the programs' arguments have in common.
#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/output.h"

namespace CLI {
class App;
}

namespace zendro::console {

/// A command as a shell completes it.
struct CommandGrammar {
  std::string name;  ///< empty: what stands before a command
  std::string description;
  std::vector<std::string> options;  ///< with their dashes
};

/// The grammar of a program, which has nothing but help yet.
std::unique_ptr<CLI::App> make_app(const std::string& description, const std::string& program);
/// Adds the options that style its output.
void add_output_options(CLI::App& app, OutputStyle& style);
void add_version(CLI::App& app);
/// Adds the command that prints completions; `shell` is one of bash, zsh, fish and powershell.
void add_completion(CLI::App& app, std::string& shell);
/// Lets what belongs to every command stand behind it as well; called once all commands are there.
void let_options_follow(CLI::App& app);

/// Reads the arguments that follow the program's name. The exit status where the program ends with
/// that: help and version are written to `out`, what is wrong with the arguments to `err`.
std::optional<int> parse_words(CLI::App& app, std::vector<std::string> words, std::string& command,
                               std::ostream& out, std::ostream& err);

/// All commands, what stands before them first.
std::vector<CommandGrammar> commands_of(const CLI::App& app);

}  // namespace zendro::console
