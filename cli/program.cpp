#include "console/program.h"

#include <filesystem>
#include <iostream>
#include <map>
#include <string>

#include <tl/expected.hpp>

#include "app/options/options.h"
#include "app/options/options_file.h"
#include "app/options/package_types.h"
#include "framework/system/files.h"
#include "pkg/active_types.h"

#include "cli/arguments.h"
#include "cli/commands/commands.h"
#include "cli/session.h"
#include "console/exit_status.h"

namespace zendro::cli {
namespace {

const std::map<std::string_view, Command>& commands() {
  static const std::map<std::string_view, Command> all = {
      {"cat", cat},         {"completion", completion}, {"download", download},
      {"env", env},         {"install", install},       {"list", list},
      {"lock", lock},       {"resolve", resolve},       {"search", list},
      {"show", show},       {"uninstall", uninstall},   {"update", update},
      {"upgrade", upgrade}, {"verify", verify}};
  return all;
}

// A root of the user's own holds what the machine's holds, in the same places.
void set_root(json::object& options, const Arguments& arguments) {
  namespace fs = std::filesystem;
  const fs::path root = fs::absolute(framework::path_from_utf8(arguments.root));
  const fs::path cache = root / fs::path(app::package_type(arguments.type).cache_folder);
  options[app::option::install_root] = framework::path_to_utf8(root / fs::path());
  options[app::option::cache_root] = framework::path_to_utf8(cache / fs::path());
}

int run(const Arguments& arguments) {
  app::create_default_settings();
  pkg::register_active_types(pkg::make_active_type_set({arguments.type}));
  const std::string path = app::options_file_path();
  tl::expected<json::object, std::string> options = app::read_options_file(path);
  if (!options) {
    Output output(arguments);
    output.error(Text::options_unreadable,
                 {named(L"path", path), named(L"cause", options.error())});
    return output.end(console::kFailed);
  }
  app::set_type(*options, arguments.type);
  if (arguments.keep_references) app::set_keep_references(*options, true);
  if (!arguments.root.empty()) set_root(*options, arguments);
  Session session(arguments, *options);
  const int status = commands().at(arguments.command)(session);
  return session.output().end(status);
}

}  // namespace
}  // namespace zendro::cli

int zendro::console::run(const std::vector<std::string>& words) {
  cli::Arguments arguments;
  const auto end = cli::parse_arguments(words, arguments, std::cout, std::cerr);
  return end ? *end : cli::run(arguments);
}
