#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <sched.h>
#include <unistd.h>

#include "framework/system/this_process.h"

namespace zendro::framework {

std::int64_t process_id() { return getpid(); }

std::string user_name() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  return found == nullptr ? std::string() : found->pw_name;
}

std::string environment_value(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::size_t processor_count() {
  cpu_set_t processors;
  if (sched_getaffinity(0, sizeof(processors), &processors) != 0) return 1;
  return static_cast<std::size_t>(CPU_COUNT(&processors));
}

}  // namespace zendro::framework
