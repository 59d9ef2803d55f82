#include "store/commands/commands.h"

namespace zendro::store {

int build(Session& session) { return session.fail({"build is not made yet"}); }

}  // namespace zendro::store
