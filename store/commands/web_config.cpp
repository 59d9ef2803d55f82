#include "store/publish/web_config.h"

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"

namespace zendro::store {

int web_config(Session& session) {
  const Arguments& arguments = session.arguments();
  const auto tree = read_published_tree(framework::path_from_utf8(arguments.place));
  if (!tree) return session.fail(tree.error());
  const auto lines = web_config(arguments.server, *tree);
  if (!lines) return session.fail(lines.error());
  session.output().line(*lines);
  session.output().result("config", boost::json::value(boost::json::string(*lines)));
  return console::kDone;
}

}  // namespace zendro::store
