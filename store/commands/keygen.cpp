#include "framework/system/files.h"

#include "console/exit_status.h"
#include "store/commands/commands.h"
#include "store/commands/password.h"
#include "store/keys.h"

namespace zendro::store {

int keygen(Session& session) {
  const Arguments& arguments = session.arguments();
  KeyFiles files = key_files(framework::path_from_utf8(arguments.key));
  if (!arguments.public_key.empty()) {
    files.public_key = framework::path_from_utf8(arguments.public_key);
  }
  PasswordSource password;
  if (!arguments.no_password) {
    password = [&] { return ask_new_password(session, arguments.key); };
  }
  const auto key = make_keys(files, password, arguments.force);
  if (!key) return session.fail(key.error());

  console::Output& output = session.output();
  const std::string line = framework::key_line(*key);
  const std::string public_file = framework::path_to_utf8(files.public_key);
  output.line("Secret key " + framework::to_hex(key->id) + ": " + arguments.key +
              ". Keep it, and a copy of it, where only those are who publish.");
  output.line("Public key: " + public_file + ". Managers get it as an option:");
  output.line("  \"pkg.store_public_key\": \"" + line + "\"");
  output.result("id", console::json::string(framework::to_hex(key->id)));
  output.result("key", console::json::string(arguments.key));
  output.result("public_key_file", console::json::string(public_file));
  output.result("public_key", console::json::string(line));
  return console::kDone;
}

}  // namespace zendro::store
