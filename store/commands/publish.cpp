#include "store/publish/publish.h"

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"

namespace zendro::store {

int publish(Session& session) {
  const Arguments& arguments = session.arguments();
  console::Output& output = session.output();
  const auto tree = read_published_tree(framework::path_from_utf8(arguments.place));
  if (!tree) return session.fail(tree.error());
  const auto url = object_store_url(arguments.target, arguments.endpoint);
  if (!url) return session.fail(url.error());
  auto key = object_store_key();
  if (!key) return session.fail(key.error());
  ObjectStore objects(*url, std::move(*key));
  const auto outcome = store::publish(
      *tree, objects, [&output](const pkg::progress_t& progress) { output.progress(progress); },
      session.stop_token());
  if (!outcome) return session.fail(outcome.error());
  output.line(std::to_string(outcome->stored) + " members stored, " +
              std::to_string(outcome->present) + " there already; the list is " +
              (outcome->is_list_new ? "new." : "the same."));
  output.result("stored", outcome->stored);
  output.result("present", outcome->present);
  output.result("list_is_new", outcome->is_list_new);
  return console::kDone;
}

}  // namespace zendro::store
