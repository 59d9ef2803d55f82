#include "framework/system/descriptor_posix.h"

#include <csignal>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/system/system_error.h"

namespace zendro::framework {
namespace {

/// Keeps SIGXFSZ, which a write beyond the limit on the size of files sends to its thread, from
/// ending the program.
class FileSizeSignalHeld {
 public:
  FileSizeSignalHeld() {
    sigemptyset(&signal_);
    sigaddset(&signal_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
  }
  ~FileSizeSignalHeld() {
    const int code = errno;
    // Taken off the queue before it could be delivered.
    if (sent_ && sigismember(&before_, SIGXFSZ) == 0) {
      const timespec no_wait{};
      retry_interrupted([&] { return sigtimedwait(&signal_, nullptr, &no_wait); });
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = code;
  }
  FileSizeSignalHeld(const FileSizeSignalHeld&) = delete;
  FileSizeSignalHeld& operator=(const FileSizeSignalHeld&) = delete;

  /// To be called when a write has failed with EFBIG.
  void note_sent() { sent_ = true; }

 private:
  sigset_t signal_;
  sigset_t before_;
  bool sent_ = false;
};

int flags_of(OpenHow how) {
  switch (how) {
    case OpenHow::read:
      return O_RDONLY;
    case OpenHow::write:
      return O_WRONLY | O_CREAT;
    case OpenHow::write_new:
    case OpenHow::write_private:
      return O_WRONLY | O_CREAT | O_EXCL;
    case OpenHow::append:
      return O_WRONLY | O_CREAT | O_APPEND;
    case OpenHow::read_write:
      return O_RDWR | O_CREAT;
  }
  return O_RDONLY;
}

}  // namespace

bool Descriptor::close() {
  if (fd_ < 0) return true;
  // An interrupted close has released the descriptor all the same.
  return ::close(release()) == 0 || errno == EINTR;
}

std::string system_cause(int code) { return std::generic_category().message(code); }

IoError system_error(std::string_view label, int code) {
  return {std::string(label) + ": " + system_cause(code)};
}

bool write_all(int file, std::string_view bytes) {
  FileSizeSignalHeld held;
  while (!bytes.empty()) {
    const ssize_t count =
        retry_interrupted([&] { return ::write(file, bytes.data(), bytes.size()); });
    if (count <= 0) {
      if (count == 0) errno = EIO;
      if (errno == EFBIG) held.note_sent();
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

Result<Descriptor> open_regular(int folder, const std::string& name, OpenHow how, int more,
                                std::string_view label) {
  // The system would take the part before a NUL for the whole name.
  if (name.find('\0') != std::string::npos) return tl::unexpected(system_error(label, EINVAL));
  const int flags = flags_of(how) | more | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const mode_t mode = how == OpenHow::write_private ? 0600 : 0666;
  Descriptor file(retry_interrupted([&] { return openat(folder, name.c_str(), flags, mode); }));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    return tl::unexpected(system_error(label, errno));
  }
  if (S_ISDIR(status.st_mode)) return tl::unexpected(system_error(label, EISDIR));
  if (!S_ISREG(status.st_mode)) {
    return tl::unexpected(IoError{std::string(label) + ": is not a regular file"});
  }
  return file;
}

}  // namespace zendro::framework
