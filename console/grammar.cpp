#include "console/grammar.h"

#include <algorithm>
#include <ostream>

#include <CLI/CLI.hpp>

#include "framework/text/version.h"

#include "console/exit_status.h"

namespace zendro::console {
namespace {

std::vector<std::string> options_of(const CLI::App& app) {
  std::vector<std::string> options;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_snames()) options.push_back("-" + name);
    for (const std::string& name : option->get_lnames()) options.push_back("--" + name);
  }
  for (const CLI::App* group : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!group->get_name().empty()) continue;
    for (std::string& option : options_of(*group)) options.push_back(std::move(option));
  }
  return options;
}

}  // namespace

std::unique_ptr<CLI::App> make_app(const std::string& description, const std::string& program) {
  auto app = std::make_unique<CLI::App>(description, program);
  app->set_help_flag("-h,--help", "Show this help");
  app->require_subcommand(0, 1);  // whether there is one is looked at once all words are known
  return app;
}

void add_output_options(CLI::App& app, OutputStyle& style) {
  app.add_flag("--json", style.json, "Write JSON, one object a line");
  auto* quiet = app.add_flag("-q,--quiet", style.quiet, "Show results and errors only");
  app.add_flag("-v,--verbose", style.verbose, "Show every step")->excludes(quiet);
}

void add_version(CLI::App& app) {
  app.set_version_flag("--version",
                       app.get_name() + " " + std::string(framework::program_version()));
}

void add_completion(CLI::App& app, std::string& shell) {
  CLI::App* completion = app.add_subcommand("completion", "Print what completes words in a shell");
  completion->add_option("shell", shell, "bash, zsh, fish or powershell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish", "powershell"}));
}

void let_options_follow(CLI::App& app) {
  for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
    command->fallthrough();
  }
}

std::optional<int> parse_words(CLI::App& app, std::vector<std::string> words, std::string& command,
                               std::ostream& out, std::ostream& err) {
  try {
    std::reverse(words.begin(), words.end());  // as the library takes them
    app.parse(words);
  } catch (const CLI::ParseError& error) {
    return app.exit(error, out, err) == 0 ? kDone : kUsage;
  }
  if (app.get_subcommands().empty()) {
    err << app.help();
    return kUsage;
  }
  command = app.get_subcommands().front()->get_name();
  return std::nullopt;
}

std::vector<CommandGrammar> commands_of(const CLI::App& app) {
  std::vector<CommandGrammar> all{{"", app.get_description(), options_of(app)}};
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    all.push_back({command->get_name(), command->get_description(), options_of(*command)});
  }
  return all;
}

}  // namespace zendro::console
