#include <cerrno>
#include <vector>

#include <pwd.h>
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

}  // namespace zendro::framework
