#include <cerrno>

#include <sys/file.h>

#include "framework/system/descriptor_posix.h"
#include "framework/system/lock_file.h"
#include "framework/system/system_error.h"

namespace zendro::framework {

Result<bool> LockFile::try_lock(std::string_view label) {
  const auto file = static_cast<int>(file_.native());
  if (retry_interrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0) return true;
  if (errno == EWOULDBLOCK) return false;
  return tl::unexpected(system_error(label, errno));
}

}  // namespace zendro::framework
