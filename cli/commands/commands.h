// The commands. Each takes its arguments from the session and returns the exit status.
#pragma once

#include "cli/session.h"

namespace zendro::cli {

using Command = int (*)(Session& session);

int cat(Session& session);
int completion(Session& session);
int download(Session& session);
int env(Session& session);
int install(Session& session);
/// "list" and "search".
int list(Session& session);
int lock(Session& session);
int resolve(Session& session);
int show(Session& session);
int uninstall(Session& session);
int update(Session& session);
int upgrade(Session& session);
int verify(Session& session);

}  // namespace zendro::cli
