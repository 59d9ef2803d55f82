// Scripts that complete commands and options, made from the grammar of the arguments; what follows
// a command is completed with the names of packages, as the program itself lists them.
#include "cli/commands/commands.h"
#include "cli/exit_status.h"

namespace zendro::cli {
namespace {

// These shells expand what they complete from: names that mean something to them are left out.
constexpr const char* kNames =
    "zendro list -q 2> /dev/null | awk 'NR > 1 && $1 ~ /^[A-Za-z0-9._-]+$/ {print $1}' | sort -u";

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

std::string bash(const std::vector<CommandGrammar>& all) {
  std::string text =
      "_zendro() {\n"
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
         "    COMPREPLY=($(compgen -f -W \"$(" +
         kNames +
         ")\" -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -F _zendro zendro\n";
}

std::string fish(const std::vector<CommandGrammar>& all) {
  std::string text;
  const std::string commands = command_names(all);
  for (const CommandGrammar& command : all) {
    const bool is_global = command.name.empty();
    const std::string when =
        is_global ? "" : " -n '__fish_seen_subcommand_from " + command.name + "'";
    if (!is_global) {
      text += "complete -c zendro -f -n 'not __fish_seen_subcommand_from " + commands + "' -a " +
              command.name + " -d '" + command.description + "'\n";
    }
    for (const std::string& option : command.options) {
      const bool is_long = option.starts_with("--");
      text += "complete -c zendro" + when + (is_long ? " -l " : " -s ") +
              option.substr(is_long ? 2 : 1) + "\n";
    }
  }
  return text + "complete -c zendro -n '__fish_seen_subcommand_from " + commands +
         "' -a '(zendro list -q 2> /dev/null | tail -n +2 | cut -d \" \" -f 1 | sort -u)'\n";
}

std::string powershell(const std::vector<CommandGrammar>& all) {
  std::vector<std::string> options;
  for (const CommandGrammar& command : all) {
    options.insert(options.end(), command.options.begin(), command.options.end());
  }
  return "Register-ArgumentCompleter -Native -CommandName zendro -ScriptBlock {\n"
         "  param($word, $line, $position)\n"
         "  $commands = '" +
         command_names(all) +
         "' -split ' '\n"
         "  $options = '" +
         joined(options, " ") +
         "' -split ' ' | Sort-Object -Unique\n"
         "  $known = @($line.CommandElements | Where-Object { $commands -contains \"$_\" })\n"
         "  $words = if ($word -like '-*') { $options } elseif ($known.Count -eq 0) { $commands }\n"
         "    else { zendro list -q --json | ConvertFrom-Json |\n"
         "      ForEach-Object { $_.packages.name } | Sort-Object -Unique }\n"
         "  $words | Where-Object { $_ -like \"$word*\" } |\n"
         "    ForEach-Object { [System.Management.Automation.CompletionResult]::new($_) }\n"
         "}\n";
}

}  // namespace

int completion(Session& session) {
  const std::vector<CommandGrammar> all = command_grammar();
  const std::string& shell = session.arguments().shell;
  std::string script = bash(all);
  if (shell == "fish") script = fish(all);
  if (shell == "powershell") script = powershell(all);
  if (shell == "zsh") script.insert(0, "autoload -U +X bashcompinit && bashcompinit\n");
  session.output().bytes(script.data(), script.size());
  return kDone;
}

}  // namespace zendro::cli
