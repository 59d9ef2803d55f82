#include "store/commands/commands.h"

namespace zendro::store {

int keygen(Session& session) { return session.fail({"keygen is not made yet"}); }

}  // namespace zendro::store
