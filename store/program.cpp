#include "console/program.h"

#include <iostream>
#include <map>
#include <string>

#include "app/options/options.h"

#include "store/arguments.h"
#include "store/commands/commands.h"
#include "store/session.h"

namespace zendro::store {
namespace {

const std::map<std::string_view, Command>& commands() {
  static const std::map<std::string_view, Command> all = {{"add", add},
                                                          {"build", build},
                                                          {"check", check},
                                                          {"completion", completion},
                                                          {"deprecate", deprecate},
                                                          {"init", init},
                                                          {"keygen", keygen},
                                                          {"mirror", mirror},
                                                          {"package-file", package_file},
                                                          {"publish", publish},
                                                          {"remove", remove},
                                                          {"serve", serve},
                                                          {"sign", sign},
                                                          {"web-config", web_config}};
  return all;
}

}  // namespace
}  // namespace zendro::store

int zendro::console::run(const std::vector<std::string>& words) {
  store::Arguments arguments;
  const auto end = store::parse_arguments(words, arguments, std::cout, std::cerr);
  if (end) return *end;
  app::create_default_settings();
  store::Session session(arguments);
  return session.output().end(store::commands().at(arguments.command)(session));
}
