#include "store/package_file.h"

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"

namespace zendro::store {

int package_file(Session& session) {
  const Arguments& arguments = session.arguments();
  const auto made =
      make_package_file(framework::path_from_utf8(arguments.place), arguments.identities,
                        framework::path_from_utf8(arguments.output));
  if (!made) return session.fail(made.error());
  boost::json::array packages;
  for (const std::string& identity : *made) {
    session.output().line(identity);
    packages.emplace_back(identity);
  }
  session.output().note(arguments.output + " is written.");
  session.output().result("packages", std::move(packages));
  return console::kDone;
}

}  // namespace zendro::store
