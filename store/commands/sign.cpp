#include <chrono>
#include <cstdlib>

#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"
#include "store/commands/password.h"
#include "store/keys.h"
#include "store/list_signing.h"

namespace zendro::store {
namespace {

// In seconds since 1970; the one that is given, where a build is to be the same again.
std::int64_t time_of_signature() {
  if (const char* given = std::getenv("SOURCE_DATE_EPOCH")) return std::atoll(given);
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now).count();
}

}  // namespace

int sign(Session& session) {
  const Arguments& arguments = session.arguments();
  const auto key = read_secret_key(framework::path_from_utf8(arguments.key),
                                   [&] { return ask_password(session, arguments.key); });
  if (!key) return session.fail(key.error());
  const auto made = sign_list(framework::path_from_utf8(arguments.place), *key, arguments.comment,
                              time_of_signature());
  if (!made) return session.fail(made.error());
  const std::string file = framework::path_to_utf8(made->signature);
  session.output().line(file + ": " + made->trusted_comment);
  session.output().result("signature", console::json::string(file));
  session.output().result("key", console::json::string(framework::to_hex(key->id)));
  session.output().result("comment", console::json::string(made->trusted_comment));
  return console::kDone;
}

}  // namespace zendro::store
