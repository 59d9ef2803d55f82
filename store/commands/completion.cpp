#include "console/completion.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"

namespace zendro::store {

int completion(Session& session) {
  const std::string script = console::completion_script(session.arguments().shell, "zendro-store",
                                                        command_grammar(), false);
  session.output().bytes(script.data(), script.size());
  return console::kDone;
}

}  // namespace zendro::store
