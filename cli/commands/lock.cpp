#include "pkg/lock_document.h"

#include "cli/commands/commands.h"

namespace zendro::cli {

// The document itself is the result, with and without --json.
int lock(Session& session) {
  const auto installed = session.cache().load_installed();
  if (!installed) return session.status_of(false);
  const std::string document = pkg::lock_document(session.cache().type(), *installed);
  Output& output = session.output();
  if (output.is_json()) {
    output.result("lock", json::parse(document));
  } else {
    output.bytes(document.data(), document.size());
  }
  return session.status_of(true);
}

}  // namespace zendro::cli
