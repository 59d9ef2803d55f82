#include "store/commands/commands.h"

namespace zendro::store {

int remove(Session& session) { return session.fail({"remove is not made yet"}); }

}  // namespace zendro::store
