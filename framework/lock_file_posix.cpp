#include <utility>

#include <fcntl.h>
#include <sys/file.h>

#include "framework/descriptor_posix.h"
#include "framework/lock_file.h"
#include "framework/system_error.h"

namespace zendro::framework {
namespace {

// The lock belongs to the open file, not to the process, so it also holds between threads; closing
// the descriptor ends it.
class PosixLockFile : public LockFile {
 public:
  explicit PosixLockFile(Descriptor file) : file_(std::move(file)) {}

 private:
  Descriptor file_;
};

}  // namespace

std::unique_ptr<LockFile> LockFile::acquire(const std::filesystem::path& path, IoError& error) {
  const std::string& label = path.native();
  Descriptor file = open_regular(AT_FDCWD, label, O_RDWR | O_CREAT, label, error);
  if (!file) {
    // Another user's file may be locked without the right to write it.
    IoError ignored;
    file = open_regular(AT_FDCWD, label, O_RDONLY, label, ignored);
  }
  if (!file) return nullptr;
  if (retry_interrupted([&] { return flock(file.get(), LOCK_EX); }) != 0) {
    error = system_error(label, errno);
    return nullptr;
  }
  error.text.clear();
  return std::make_unique<PosixLockFile>(std::move(file));
}

}  // namespace zendro::framework
