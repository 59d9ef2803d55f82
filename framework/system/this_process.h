// What the running process is to others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zendro::framework {

/// Its number, as the system's list of processes shows it.
std::int64_t process_id();
/// The name of the user that it runs for, in UTF-8; empty where the system does not tell.
std::string user_name();
/// A variable of its environment, in UTF-8; empty where it is not set.
std::string environment_value(const char* name);
/// How many processors it may use, 1 at least: who started it may have allowed fewer than there
/// are.
std::size_t processor_count();

}  // namespace zendro::framework
