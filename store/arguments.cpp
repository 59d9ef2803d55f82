#include "store/arguments.h"

#include <CLI/CLI.hpp>

namespace zendro::store {
namespace {

constexpr const char* kIdentity = "A package version, as in name-1.2.0";

CLI::App* add_command(CLI::App& app, Arguments& to, const char* name, const char* description,
                      const char* place, const char* about_place) {
  CLI::App* command = app.add_subcommand(name, description);
  command->add_option("place", to.place, about_place)->required()->type_name(place);
  return command;
}

CLI::App* add_source_command(CLI::App& app, Arguments& to, const char* name,
                             const char* description) {
  return add_command(app, to, name, description, "DIR", "The folder that \"init\" has made");
}

CLI::App* add_tree_command(CLI::App& app, Arguments& to, const char* name,
                           const char* description) {
  return add_command(app, to, name, description, "OUT", "The tree that \"build\" has made");
}

void add_making(CLI::App& app, Arguments& to) {
  CLI::App* init = add_command(app, to, "init", "Make an empty store as a folder of plain files",
                               "DIR", "The folder; made where it is missing");
  init->add_option("--type", to.type, "Package type: xsd or xbrl")
      ->required()
      ->check(CLI::IsMember({"xsd", "xbrl"}));
  init->add_option("--url", to.url, "Where the store will be served");

  CLI::App* add = add_source_command(app, to, "add", "Take in a package version and describe it");
  add->add_option("sources", to.sources,
                  "A folder or zip of schemas, DTDs and catalogs, or a taxonomy package")
      ->required()
      ->type_name("SOURCE");
  add->add_option("--name", to.name, "Name of the package")->required();
  add->add_option("--version", to.version, "Three numbers, as in 1.2.0")->required();
  add->add_option("--title", to.title, "Instead of what the files say");
  add->add_option("--description", to.description, "Instead of what the files say");
  add->add_option("--homepage", to.homepage, "Instead of what the files say");
  add->add_option("--publisher", to.publisher, "Instead of what the files say");
  add->add_option("--references", to.references, "Packages that it needs, as in other-1.2")
      ->delimiter(',')
      ->allow_extra_args(false);
  add->add_option("--conflicts", to.conflicts, "Packages that must not stand beside it")
      ->delimiter(',')
      ->allow_extra_args(false);
  add->add_flag("--replace", to.replace, "Replace this version where it is there already");

  const auto with_identities = [&](CLI::App* command) {
    command->add_option("identities", to.identities, kIdentity)->required()->type_name("IDENTITY");
    return command;
  };
  with_identities(add_source_command(app, to, "deprecate",
                                     "Have a package version removable, but never chosen"));
  with_identities(add_source_command(app, to, "remove", "Take a package version out"));
  add_source_command(app, to, "build", "Make the tree of files to publish")
      ->add_option("-o,--output", to.output, "The folder for the tree")
      ->required()
      ->type_name("OUT");
  with_identities(add_tree_command(app, to, "package-file", "Write packages as a package file"))
      ->add_option("-o,--output", to.output, "The file")
      ->required()
      ->type_name("FILE");
}

void add_proving(CLI::App& app, Arguments& to) {
  CLI::App* keygen = app.add_subcommand("keygen", "Make a pair of keys for signatures");
  keygen->add_option("--key", to.key, "The file for the secret key")->required()->type_name("FILE");
  keygen
      ->add_option("--public-key", to.public_key,
                   "The file for the public key; FILE.pub unless given")
      ->type_name("FILE");
  keygen->add_flag("--no-password", to.no_password, "Leave the secret key as it is in its file");
  keygen->add_flag("--force", to.force, "Replace files that stand there");
  CLI::App* sign = add_tree_command(app, to, "sign", "Sign the list of a tree");
  sign->add_option("--key", to.key, "The file with the secret key")->required()->type_name("FILE");
  sign->add_option("--comment", to.comment, "A comment that the signature covers");
  add_command(app, to, "check", "Find whatever a manager would refuse, and more", "PLACE",
              "A folder of sources, a tree, or the URL of a store")
      ->add_option("--public-key", to.public_key,
                   "The key that the list has to be signed with, or the file with it")
      ->type_name("KEY");
}

void add_serving(CLI::App& app, Arguments& to) {
  CLI::App* mirror =
      app.add_subcommand("mirror", "Copy a store, or some of its packages, with proof");
  mirror->add_option("source", to.target, "The URL of the store")->required()->type_name("URL");
  mirror->add_option("place", to.place, "The folder for the tree")->required()->type_name("DIR");
  mirror->add_option("filters", to.identities, "Packages, as in name-1.2; all unless given")
      ->type_name("FILTER");
  mirror->add_option("--url", to.url, "Where the copy will be served");

  add_tree_command(app, to, "serve", "Serve a tree over HTTP, for trying it out")
      ->add_option("--listen", to.listen, "Address and port; 127.0.0.1 unless given")
      ->type_name("ADDRESS");
  CLI::App* publish = add_tree_command(app, to, "publish", "Bring a tree to an object store");
  publish->add_option("target", to.target, "s3://BUCKET/PREFIX")->required()->type_name("TARGET");
  publish->add_option("--endpoint", to.endpoint, "The URL of the object store")
      ->required()
      ->type_name("URL");
  CLI::App* web_config =
      app.add_subcommand("web-config", "Print the configuration of a web server for a tree");
  web_config->add_option("server", to.server, "nginx, apache or caddy")
      ->required()
      ->check(CLI::IsMember({"nginx", "apache", "caddy"}));
  web_config->add_option("place", to.place, "The tree that \"build\" has made")
      ->required()
      ->type_name("OUT");
}

std::unique_ptr<CLI::App> make_app(Arguments& to) {
  auto app = console::make_app("Makes, signs, checks, mirrors and publishes a store of packages",
                               "zendro-store");
  console::add_output_options(*app, to);
  console::add_version(*app);
  add_making(*app, to);
  add_proving(*app, to);
  add_serving(*app, to);
  console::add_completion(*app, to.shell);
  console::let_options_follow(*app);
  return app;
}

}  // namespace

std::optional<int> parse_arguments(std::vector<std::string> words, Arguments& arguments,
                                   std::ostream& out, std::ostream& err) {
  return console::parse_words(*make_app(arguments), std::move(words), arguments.command, out, err);
}

std::vector<console::CommandGrammar> command_grammar() {
  Arguments unused;
  return console::commands_of(*make_app(unused));
}

}  // namespace zendro::store
