#include "store/commands/commands.h"

namespace zendro::store {

int serve(Session& session) { return session.fail({"serve is not made yet"}); }

}  // namespace zendro::store
