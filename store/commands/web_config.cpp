#include "store/commands/commands.h"

namespace zendro::store {

int web_config(Session& session) { return session.fail({"web-config is not made yet"}); }

}  // namespace zendro::store
