// What the running process is to others.
#pragma once

#include <cstdint>
#include <string>

namespace zendro::framework {

/// Its number, as the system's list of processes shows it.
std::int64_t process_id();
/// The name of the user that it runs for, in UTF-8; empty where the system does not tell.
std::string user_name();

}  // namespace zendro::framework
