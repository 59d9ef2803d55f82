// File descriptors with an owner, and the one way in which regular files are opened and
// written (POSIX).
#pragma once

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>

#include "framework/io/io.h"
#include "framework/system/system_file.h"

namespace zendro::framework {

/// Owns a file descriptor; closes it at the end.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      fd_ = other.release();
    }
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int get() const { return fd_; }
  int release() { return std::exchange(fd_, -1); }
  /// Closes the descriptor, if any is left; false, with the cause in errno, when that failed.
  bool close();

 private:
  int fd_;
};

/// Repeats a system call for as long as signals interrupt it.
template <typename Call>
auto retry_interrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// Writes all of `bytes` at the position of `file`; false, with the cause in errno. A limit on the
/// size of files is such a cause (EFBIG) and does not end the program with a signal.
bool write_all(int file, std::string_view bytes);

/// Opens `name`, relative to the open folder `folder` (or AT_FDCWD); `more` may be O_NOFOLLOW. Only
/// a regular file is accepted, and a pipe never blocks.
Result<Descriptor> open_regular(int folder, const std::string& name, OpenHow how, int more,
                                std::string_view label);

}  // namespace zendro::framework
