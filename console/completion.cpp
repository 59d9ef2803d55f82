#include "console/completion.h"

#include <algorithm>

namespace zendro::console {
namespace {

// These shells expand what they complete from: names that mean something to them are left out.
constexpr const char* kNames =
    "$(PROGRAM list -q 2> /dev/null | awk 'NR > 1 && $1 ~ /^[A-Za-z0-9._-]+$/ {print $1}' | sort "
    "-u)";

std::string joined(const std::vector<std::string>& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : between).append(word);
  return text;
}

std::string command_names(const std::vector<CommandGrammar>& all) {
  std::vector<std::string> names;
  for (const CommandGrammar& command : all) {
    if (!command.name.empty()) names.push_back(command.name);
  }
  return joined(names, " ");
}

std::string bash(const std::vector<CommandGrammar>& all, bool lists_packages) {
  std::string text =
      "_FUNCTION() {\n"
      "  local word=${COMP_WORDS[COMP_CWORD]} command= options one\n"
      "  local commands='" +
      command_names(all) +
      "'\n"
      "  for one in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
      "    [[ \" $commands \" == *\" $one \"* ]] && command=$one && break\n"
      "  done\n"
      "  case $command in\n";
  for (const CommandGrammar& command : all) {
    text += "    '" + command.name + "') options='" + joined(command.options, " ") + "' ;;\n";
  }
  return text +
         "  esac\n"
         "  if [[ $word == -* ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$options " +
         joined(all.front().options, " ") +
         "\" -- \"$word\"))\n"
         "  elif [[ -z $command ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$commands\" -- \"$word\"))\n"
         "  else\n"
         "    COMPREPLY=($(compgen -f" +
         (lists_packages ? " -W \"" + std::string(kNames) + "\"" : "") +
         " -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -F _FUNCTION PROGRAM\n";
}

std::string fish(const std::vector<CommandGrammar>& all, bool lists_packages) {
  std::string text;
  const std::string commands = command_names(all);
  for (const CommandGrammar& command : all) {
    const bool is_global = command.name.empty();
    const std::string when =
        is_global ? "" : " -n '__fish_seen_subcommand_from " + command.name + "'";
    if (!is_global) {
      text += "complete -c PROGRAM -f -n 'not __fish_seen_subcommand_from " + commands + "' -a " +
              command.name + " -d '" + command.description + "'\n";
    }
    for (const std::string& option : command.options) {
      const bool is_long = option.starts_with("--");
      text += "complete -c PROGRAM" + when + (is_long ? " -l " : " -s ") +
              option.substr(is_long ? 2 : 1) + "\n";
    }
  }
  if (!lists_packages) return text;
  return text + "complete -c PROGRAM -n '__fish_seen_subcommand_from " + commands +
         "' -a '(PROGRAM list -q 2> /dev/null | tail -n +2 | cut -d \" \" -f 1 | sort -u)'\n";
}

// The position counts from the start of the command. Names that mean something to the shell are
// left out, as above: it puts what is chosen into the line as it is.
std::string powershell(const std::vector<CommandGrammar>& all, bool lists_packages) {
  std::string text =
      "Register-ArgumentCompleter -Native -CommandName PROGRAM -ScriptBlock {\n"
      "  param($word, $line, $position)\n"
      "  $options = @{\n";
  for (const CommandGrammar& command : all) {
    text += "    '" + command.name + "' = '" + joined(command.options, " ") + "'\n";
  }
  return text +
         "  }\n"
         "  $commands = '" +
         command_names(all) +
         "' -split ' '\n"
         "  $command = $line.CommandElements |\n"
         "    Where-Object { $_.Extent.EndOffset - $line.Extent.StartOffset -lt $position } |\n"
         "    ForEach-Object { \"$_\" } | Where-Object { $commands -contains $_ } |\n"
         "    Select-Object -First 1\n"
         "  $words = @(if ($word -like '-*') { \"$($options[\"$command\"]) $($options[''])\" "
         "-split ' ' }\n"
         "    elseif (-not $command) { $commands }" +
         (lists_packages ? "\n    else { PROGRAM list -q --json 2> $null | ConvertFrom-Json |\n"
                           "      ForEach-Object { $_.packages.name } |\n"
                           "      Where-Object { $_ -match '^[A-Za-z0-9._-]+$' } }"
                         : "") +
         ")\n"
         "  $words | Where-Object { $_ -like \"$word*\" } | Select-Object -Unique |\n"
         "    ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }\n"
         "}\n";
}

void replace_all(std::string& text, std::string_view what, std::string_view by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
}

// The templates have these words for the program, and for it in the name of a function.
std::string filled(std::string script, const std::string& program) {
  std::string function = program;
  std::replace(function.begin(), function.end(), '-', '_');
  replace_all(script, "PROGRAM", program);
  replace_all(script, "FUNCTION", function);
  return script;
}

}  // namespace

std::string completion_script(std::string_view shell, const std::string& program,
                              const std::vector<CommandGrammar>& commands, bool lists_packages) {
  if (shell == "fish") return filled(fish(commands, lists_packages), program);
  if (shell == "powershell") return filled(powershell(commands, lists_packages), program);
  const std::string script = filled(bash(commands, lists_packages), program);
  return shell == "zsh" ? "autoload -U +X bashcompinit && bashcompinit\n" + script : script;
}

}  // namespace zendro::console
