#include "console/completion.h"

#include "cli/commands/commands.h"
#include "console/exit_status.h"

namespace zendro::cli {

int completion(Session& session) {
  const std::string script =
      console::completion_script(session.arguments().shell, "zendro", command_grammar(), true);
  session.output().bytes(script.data(), script.size());
  return console::kDone;
}

}  // namespace zendro::cli
