#include "store/commands/commands.h"

namespace zendro::store {

int mirror(Session& session) { return session.fail({"mirror is not made yet"}); }

}  // namespace zendro::store
