#include <cerrno>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/system/descriptor_posix.h"
#include "framework/system/system_error.h"
#include "framework/system/system_file.h"

namespace zendro::framework {
namespace {

int fd(SystemFile::Native file) { return static_cast<int>(file); }

// False, with the cause in errno, where there is no room.
bool reserve_space(int file, std::size_t size) {
  // The kernel checks the limit on the size of files only when a reservation changes the length.
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && size > limit.rlim_cur) {
    errno = EFBIG;
    return false;
  }
  struct stat status {};
  if (fstat(file, &status) != 0) return false;
  if (size == 0 || retry_interrupted([&] {
                     return fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size));
                   }) == 0) {
    return true;
  }
  const int code = errno;
  if (code != ENOSPC && code != EDQUOT && code != EFBIG) return true;
  // Gives back what was reserved before the reservation failed: it lies behind the end of the file.
  static_cast<void>(retry_interrupted([&] { return ftruncate(file, status.st_size); }));
  errno = code;
  return false;
}

}  // namespace

Result<SystemFile> SystemFile::open(const std::filesystem::path& path, OpenHow how) {
  const std::string& label = path.native();
  return open_regular(AT_FDCWD, label, how, 0, label).map([](Descriptor&& file) {
    return SystemFile(file.release());
  });
}

void SystemFile::remove(const std::filesystem::path& path) { unlink(path.c_str()); }

std::string SystemFile::cause() const { return system_cause(code_); }

bool SystemFile::record(bool succeeded) {
  if (!succeeded) code_ = errno;
  return succeeded;
}

bool SystemFile::close() {
  Descriptor file(fd(std::exchange(file_, kNone)));
  return record(file.close());
}

std::int64_t SystemFile::read(void* buffer, std::size_t size) {
  const ssize_t count = retry_interrupted([&] { return ::read(fd(file_), buffer, size); });
  record(count >= 0);
  return count;
}

bool SystemFile::write(std::string_view bytes) { return record(write_all(fd(file_), bytes)); }

std::int64_t SystemFile::seek(std::int64_t offset, SeekOrigin origin) {
  int whence = SEEK_SET;
  if (origin == SeekOrigin::current) whence = SEEK_CUR;
  if (origin == SeekOrigin::end) whence = SEEK_END;
  const off_t position = lseek(fd(file_), offset, whence);
  record(position >= 0);
  return position;
}

std::int64_t SystemFile::size() {
  struct stat status {};
  return record(fstat(fd(file_), &status) == 0) ? status.st_size : -1;
}

bool SystemFile::set_length(std::size_t length) {
  return record(
      retry_interrupted([&] { return ftruncate(fd(file_), static_cast<off_t>(length)); }) == 0);
}

bool SystemFile::reserve(std::size_t size) { return record(reserve_space(fd(file_), size)); }

bool SystemFile::flush() {
  return record(retry_interrupted([this] { return fsync(fd(file_)); }) == 0);
}

}  // namespace zendro::framework
