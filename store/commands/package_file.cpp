#include "store/commands/commands.h"

namespace zendro::store {

int package_file(Session& session) { return session.fail({"package-file is not made yet"}); }

}  // namespace zendro::store
