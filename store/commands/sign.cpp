#include "store/commands/commands.h"

namespace zendro::store {

int sign(Session& session) { return session.fail({"sign is not made yet"}); }

}  // namespace zendro::store
