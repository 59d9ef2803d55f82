#include "cli/arguments.h"

#include <algorithm>
#include <memory>

#include <CLI/CLI.hpp>

#include "app/options/package_types.h"

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
  console::add_output_options(app, to);
  app.add_flag("-y,--yes", to.yes, "Do what is announced without asking");
  app.add_flag("--no-wait", to.no_wait, "Fail where another operation is at work");
  console::add_version(app);
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
  console::add_completion(app, to.shell);
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
  auto app = console::make_app(
      "Installs, patches and removes XML Schema packages and XBRL taxonomies", "zendro");
  add_global(*app, to);
  add_changing(*app, to);
  add_reading(*app, to);
  console::let_options_follow(*app);
  return app;
}

// Formal public identifiers of unregistered owners begin like options: they go behind all others.
void mark_public_identifiers(std::vector<std::string>& words) {
  const auto first = std::stable_partition(
      words.begin(), words.end(), [](const std::string& word) { return !word.starts_with("-//"); });
  if (first != words.end()) words.insert(first, "--");
}

}  // namespace

std::optional<int> parse_arguments(std::vector<std::string> words, Arguments& arguments,
                                   std::ostream& out, std::ostream& err) {
  mark_public_identifiers(words);
  return console::parse_words(*make_app(arguments), std::move(words), arguments.command, out, err);
}

std::vector<console::CommandGrammar> command_grammar() {
  Arguments unused;
  return console::commands_of(*make_app(unused));
}

}  // namespace zendro::cli
