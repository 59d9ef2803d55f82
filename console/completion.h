// Scripts that complete commands and options, made from the grammar of the arguments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "console/grammar.h"

namespace zendro::console {

/// The script for a shell: bash, zsh, fish or powershell. What follows a command is completed with
/// files and, where the program lists packages ("list"), their names.
std::string completion_script(std::string_view shell, const std::string& program,
                              const std::vector<CommandGrammar>& commands, bool lists_packages);

}  // namespace zendro::console
