// The commands. Each takes its arguments from the session and returns the exit status.
#pragma once

#include "store/session.h"

namespace zendro::store {

using Command = int (*)(Session& session);

int add(Session& session);
int build(Session& session);
int check(Session& session);
int completion(Session& session);
int deprecate(Session& session);
int init(Session& session);
int keygen(Session& session);
int mirror(Session& session);
int package_file(Session& session);
int publish(Session& session);
int remove(Session& session);
int serve(Session& session);
int sign(Session& session);
int web_config(Session& session);

}  // namespace zendro::store
