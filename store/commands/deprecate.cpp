#include "store/commands/commands.h"

namespace zendro::store {

int deprecate(Session& session) { return session.fail({"deprecate is not made yet"}); }

}  // namespace zendro::store
