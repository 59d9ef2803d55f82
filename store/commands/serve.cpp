#include "framework/system/files.h"
#include "framework/url/loggable.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"
#include "store/serve/tree_server.h"

namespace zendro::store {

int serve(Session& session) {
  const Arguments& arguments = session.arguments();
  const auto tree = read_published_tree(framework::path_from_utf8(arguments.place));
  if (!tree) return session.fail(tree.error());
  auto root = framework::Folder::open(tree->folder);
  if (!root) return session.fail(root.error());
  const StaticTree files(*tree, std::move(*root));
  console::Output& output = session.output();
  const auto log = [&output](const TreeRequest& request, unsigned status) {
    const std::string target = framework::loggable_text(request.target);
    if (output.is_json()) {
      output.event("request", {{"method", framework::loggable_text(request.method)},
                               {"target", target},
                               {"status", status}});
    } else {
      output.log(std::to_string(status) + " " + framework::loggable_text(request.method) + " " +
                 target);
    }
  };
  const std::string address = arguments.listen.empty() ? "127.0.0.1" : arguments.listen;
  const auto server = TreeServer::listen(address, files, log);
  if (!server) return session.fail(server.error());
  const std::string url = (*server)->url();
  output.event("serving", {{"url", url}, {"bootstrap", url + bootstrap_path(tree->type)}});
  output.line("Serving " + arguments.place + " at " + url);
  output.note("Managers find it with \"pkg.store_bootstrap_url\": \"" + url +
              bootstrap_path(tree->type) + "\". Ctrl+C ends it.");
  (*server)->run(session.stop_token());
  return console::kDone;
}

}  // namespace zendro::store
