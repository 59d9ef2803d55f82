#include "store/commands/commands.h"

namespace zendro::store {

int check(Session& session) { return session.fail({"check is not made yet"}); }

}  // namespace zendro::store
