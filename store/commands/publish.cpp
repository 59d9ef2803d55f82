#include "store/commands/commands.h"

namespace zendro::store {

int publish(Session& session) { return session.fail({"publish is not made yet"}); }

}  // namespace zendro::store
