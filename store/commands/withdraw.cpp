// Commands that change what is described.
#include "framework/system/files.h"
#include "framework/system/system_error.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"
#include "store/description.h"

namespace zendro::store {
namespace {

/// Does something to each package version that is named, once all of them are found.
int for_each_named(Session& session, const std::string& done,
                   framework::Result<void> (*act)(Description& description)) {
  const std::filesystem::path store = framework::path_from_utf8(session.arguments().place);
  if (const auto settings = read_settings(store); !settings) return session.fail(settings.error());
  std::vector<Description> named;
  for (const std::string& text : session.arguments().identities) {
    const auto identity = full_identity(text);
    if (!identity) return session.fail({identity.error()});
    auto description = read_description(store, *identity);
    if (!description) return session.fail(description.error());
    named.push_back(std::move(*description));
  }
  for (Description& description : named) {
    if (const auto acted = act(description); !acted) return session.fail(acted.error());
    session.output().note(to_string(description.identity) + done);
  }
  return console::kDone;
}

framework::Result<void> mark(Description& description) {
  description.file.values["deprecated"] = true;
  return write_description(description);
}

framework::Result<void> take_out(Description& description) {
  std::error_code error;
  std::filesystem::remove_all(description.folder, error);
  if (error) {
    return tl::unexpected(
        framework::system_error(framework::path_to_utf8(description.folder), error.value()));
  }
  std::error_code ignored;  // other versions may stand there
  std::filesystem::remove(description.folder.parent_path(), ignored);
  return {};
}

}  // namespace

int deprecate(Session& session) {
  return for_each_named(session, " is deprecated from the next build on", mark);
}

int remove(Session& session) {
  return for_each_named(session, " is in no list from the next build on", take_out);
}

}  // namespace zendro::store
