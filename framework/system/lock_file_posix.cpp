#include <cerrno>

#include <sys/file.h>

#include "framework/system/descriptor_posix.h"
#include "framework/system/lock_file.h"
#include "framework/system/system_error.h"

namespace zendro::framework {

LockFile::Attempt LockFile::try_lock(std::string_view label, IoError& error) {
  const auto file = static_cast<int>(file_.native());
  if (retry_interrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0) return Attempt::taken;
  if (errno == EWOULDBLOCK) return Attempt::held_by_another;
  error = system_error(label, errno);
  return Attempt::failed;
}

}  // namespace zendro::framework
