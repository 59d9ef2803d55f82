// Passwords of secret keys: from the environment, or asked on the terminal.
#pragma once

#include <string>

#include "framework/io/io.h"

#include "store/session.h"

namespace zendro::store {

/// The variable whose value is the password, so that builds without a terminal can sign.
inline constexpr const char* kPasswordVariable = "ZENDRO_STORE_PASSWORD";

/// The password of the key in `file`.
framework::Result<std::string> ask_password(Session& session, const std::string& file);
/// The same for a new key: on the terminal it is asked for twice.
framework::Result<std::string> ask_new_password(Session& session, const std::string& file);

}  // namespace zendro::store
