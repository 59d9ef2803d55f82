#include "store/commands/commands.h"

namespace zendro::store {

int add(Session& session) { return session.fail({"add is not made yet"}); }

}  // namespace zendro::store
