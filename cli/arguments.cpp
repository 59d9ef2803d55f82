#include "cli/arguments.h"

#include <algorithm>
#include <memory>
#include <ostream>

#include <CLI/CLI.hpp>

#include "app/options/package_types.h"
#include "framework/text/version.h"

#include "cli/exit_status.h"

namespace zendro::cli {
namespace {

constexpr const char* kFilters = "Packages: a name, or a name and a version as in name-1.2";

void add_global(CLI::App& app, Arguments& to) {
  std::vector<std::string> types;
  for (const app::PackageType& type : app::package_types()) types.emplace_back(type.word);
  app.add_option("-t,--type", to.type, "Package type, xsd unless given")
      ->check(CLI::IsMember(types));
  app.add_option("--root", to.root, "Folder of the packages, instead of the machine's")
      ->type_name("DIR");
  app.add_flag("--json", to.json, "Write JSON, one object a line");
  auto* quiet = app.add_flag("-q,--quiet", to.quiet, "Show results and errors only");
  app.add_flag("-v,--verbose", to.verbose, "Show every step")->excludes(quiet);
  app.add_flag("-y,--yes", to.yes, "Do what is announced without asking");
  app.add_flag("--no-wait", to.no_wait, "Fail where another operation is at work");
  app.set_version_flag("--version", "zendro " + std::string(framework::program_version()));
}

void add_reading(CLI::App& app, Arguments& to) {
  CLI::App* list = app.add_subcommand("list", "List packages");
  auto* which = list->add_option_group("which");
  which->require_option(0, 1);
  which->set_help_flag();
  const auto flag = [&](const char* name, Listed listed, const char* description) {
    which->add_flag_callback(
        name, [&to, listed] { to.listed = listed; }, description);
  };
  flag("--installed", Listed::installed, "What is installed");
  flag("--upgradeable", Listed::upgradeable, "What is installed and has a patch");
  flag("--available", Listed::available, "What the store has");
  list->add_option("text", to.text, "A part of the name")->type_name("TEXT");

  CLI::App* search = app.add_subcommand("search", "Search names, titles and descriptions");
  search->add_option("text", to.text, "What to look for")->required()->type_name("TEXT");
  CLI::App* show = app.add_subcommand("show", "Show all that is known of a package");
  show->add_option("package", to.text, "A name, or a name and a version")
      ->required()
      ->type_name("PACKAGE");
  CLI::App* resolve = app.add_subcommand("resolve", "Say where the catalogs lead");
  resolve->add_option("text", to.text, "A location, namespace, public identifier or package URL")
      ->required()
      ->type_name("TEXT");
  CLI::App* cat = app.add_subcommand("cat", "Write the bytes of an installed file");
  cat->add_option("url", to.text, "zendro://pkg/..., also inside archives")
      ->required()
      ->type_name("URL");
  app.add_subcommand("lock", "Write what is installed, with all digests, as a lock document");
  CLI::App* completion = app.add_subcommand("completion", "Print what completes words in a shell");
  completion->add_option("shell", to.shell, "bash, zsh, fish or powershell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish", "powershell"}));
  CLI::App* env = app.add_subcommand("env", "Print what points XML tools at the catalogs");
  env->add_option("--shell", to.shell, "bash, powershell or json")
      ->check(CLI::IsMember({"bash", "powershell", "json"}));
}

void add_changing(CLI::App& app, Arguments& to) {
  app.add_subcommand("update", "Bring the list of available packages up to date")
      ->add_option("--from", to.file, "A store's archive on the disk, its digest in FILE.sha256")
      ->type_name("FILE");
  const auto with_filters = [&](const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->add_flag("--dry-run", to.dry_run, "Only say what would be done");
    return command;
  };
  const auto filters = [&](CLI::App* command) {
    return command->add_option("filters", to.filters, kFilters)->type_name("FILTER");
  };
  CLI::App* what = with_filters("install", "Install packages and what they reference")
                       ->add_option_group("what")
                       ->require_option(1);
  what->set_help_flag();
  filters(what);
  what->add_option("--locked", to.file, "Install exactly what this lock document names")
      ->type_name("FILE");
  filters(with_filters("upgrade", "Replace installed packages by their newest patches"));
  CLI::App* uninstall =
      with_filters("uninstall", "Uninstall packages and what only they reference");
  filters(uninstall)->required();
  uninstall->add_flag("--keep-references", to.keep_references, "Keep what they reference");

  CLI::App* verify = app.add_subcommand("verify", "Prove every installed file by its digest");
  filters(verify);
  verify->add_flag("--repair", to.repair, "Fetch anew what is not whole");
  CLI::App* download = app.add_subcommand("download", "Write packages as a package file");
  filters(download)->required();
  download->add_option("-o,--output", to.output, "The file, or the folder for it")
      ->required()
      ->type_name("FILE");
}

std::unique_ptr<CLI::App> make_app(Arguments& to) {
  auto app = std::make_unique<CLI::App>(
      "Installs, patches and removes XML Schema packages and XBRL taxonomies", "zendro");
  app->set_help_flag("-h,--help", "Show this help");
  app->require_subcommand(0, 1);  // whether there is one is looked at once all words are known
  add_global(*app, to);
  add_changing(*app, to);
  add_reading(*app, to);
  // What belongs to every command may stand behind it as well.
  for (CLI::App* command : app->get_subcommands([](CLI::App*) { return true; })) {
    command->fallthrough();
  }
  return app;
}

// Formal public identifiers of unregistered owners begin like options: they go behind all others.
void mark_public_identifiers(std::vector<std::string>& words) {
  const auto first = std::stable_partition(
      words.begin(), words.end(), [](const std::string& word) { return !word.starts_with("-//"); });
  if (first != words.end()) words.insert(first, "--");
}

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

std::optional<int> parse_arguments(std::vector<std::string> words, Arguments& arguments,
                                   std::ostream& out, std::ostream& err) {
  const std::unique_ptr<CLI::App> app = make_app(arguments);
  try {
    mark_public_identifiers(words);
    std::reverse(words.begin(), words.end());  // as the library takes them
    app->parse(words);
  } catch (const CLI::ParseError& error) {
    return app->exit(error, out, err) == 0 ? kDone : kUsage;
  }
  if (app->get_subcommands().empty()) {
    err << app->help();
    return kUsage;
  }
  arguments.command = app->get_subcommands().front()->get_name();
  return std::nullopt;
}

std::vector<CommandGrammar> command_grammar() {
  Arguments unused;
  const std::unique_ptr<CLI::App> app = make_app(unused);
  std::vector<CommandGrammar> all{{"", app->get_description(), options_of(*app)}};
  for (const CLI::App* command : app->get_subcommands([](CLI::App*) { return true; })) {
    all.push_back({command->get_name(), command->get_description(), options_of(*command)});
  }
  return all;
}

}  // namespace zendro::cli
