#include "store/commands/commands.h"

namespace zendro::store {

int init(Session& session) { return session.fail({"init is not made yet"}); }

}  // namespace zendro::store
