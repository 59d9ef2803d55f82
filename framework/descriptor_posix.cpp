#include "framework/descriptor_posix.h"

#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zendro::framework {

bool Descriptor::close() {
  if (fd_ < 0) return true;
  // An interrupted close has released the descriptor all the same.
  return ::close(release()) == 0 || errno == EINTR;
}

std::string system_cause(int code) { return std::generic_category().message(code); }

IoError system_error(std::string_view label, int code) {
  return {std::string(label) + ": " + system_cause(code)};
}

Descriptor open_regular(int folder, const std::string& name, int flags, std::string_view label,
                        IoError& error) {
  // The system would take the part before a NUL for the whole name.
  if (name.find('\0') != std::string::npos) {
    error = system_error(label, EINVAL);
    return Descriptor();
  }
  Descriptor file(retry_interrupted([&] {
    return openat(folder, name.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
  }));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    error = system_error(label, errno);
    return Descriptor();
  }
  if (!S_ISREG(status.st_mode)) {
    error = S_ISDIR(status.st_mode) ? system_error(label, EISDIR)
                                    : IoError{std::string(label) + ": is not a regular file"};
    return Descriptor();
  }
  return file;
}

}  // namespace zendro::framework
