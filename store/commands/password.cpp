#include "store/commands/password.h"

#include <optional>

#include "framework/system/this_process.h"

#include "console/terminal.h"

namespace zendro::store {
namespace {

using framework::IoError;
using framework::Result;

Result<std::string> ask(Session& session, const std::string& question) {
  std::optional<std::string> typed = console::read_secret([&] { session.output().ask(question); });
  session.output().ask("\n");
  if (!typed) return tl::unexpected(IoError{"no password was given"});
  return std::move(*typed);
}

Result<std::string> password_of(Session& session, const std::string& file, bool is_new) {
  if (std::string value = framework::environment_value(kPasswordVariable); !value.empty()) {
    return value;
  }
  if (!console::is_terminal(console::Stream::input) ||
      !console::is_terminal(console::Stream::error)) {
    return tl::unexpected(IoError{"there is no terminal to ask for the password of " + file +
                                  "; set " + kPasswordVariable +
                                  (is_new ? ", or give --no-password" : "")});
  }
  Result<std::string> typed = ask(session, "Password of " + file + ": ");
  if (!typed || !is_new) return typed;
  Result<std::string> again = ask(session, "The same once more: ");
  if (again && *again != *typed) {
    return tl::unexpected(IoError{"the two passwords differ; nothing was written"});
  }
  return again;
}

}  // namespace

Result<std::string> ask_password(Session& session, const std::string& file) {
  return password_of(session, file, false);
}

Result<std::string> ask_new_password(Session& session, const std::string& file) {
  return password_of(session, file, true);
}

}  // namespace zendro::store
