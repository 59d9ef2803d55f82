#include "framework/file_io_posix.h"

#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/stream_base.h"

namespace zendro::framework {
namespace {

class FileStream : public StreamBase {
 public:
  FileStream(Descriptor file, FileAccess access, std::string label)
      : StreamBase(std::move(label)), file_(std::move(file)), access_(access) {}

  void close() override {
    // Some file systems tell only now that an earlier write was lost.
    if (!file_.close() && access_ == FileAccess::write) fail(system_cause(errno));
  }

  void flush() override {
    if (access_ != FileAccess::write) return;
    if (retry_interrupted([this] { return fsync(file_.get()); }) != 0) fail(system_cause(errno));
  }

  std::int64_t read(void* buffer, std::size_t size) override {
    const ssize_t count = retry_interrupted([&] { return ::read(file_.get(), buffer, size); });
    return count < 0 ? fail(system_cause(errno)) : count;
  }

  std::int64_t write(const void* buffer, std::size_t size) override {
    if (access_ != FileAccess::write) return StreamBase::write(buffer, size);
    if (!write_all(file_.get(), {static_cast<const char*>(buffer), size})) {
      return fail(system_cause(errno));
    }
    return static_cast<std::int64_t>(size);
  }

  std::int64_t seek(std::int64_t offset, SeekOrigin origin) override {
    int whence = SEEK_SET;
    if (origin == SeekOrigin::current) whence = SEEK_CUR;
    if (origin == SeekOrigin::end) whence = SEEK_END;
    const off_t position = lseek(file_.get(), offset, whence);
    return position < 0 ? fail(system_cause(errno)) : position;
  }

  [[nodiscard]] std::int64_t size() override {
    struct stat status {};
    if (fstat(file_.get(), &status) != 0) return fail(system_cause(errno));
    return status.st_size;
  }

  [[nodiscard]] bool seekable() override { return static_cast<bool>(file_); }

 private:
  Descriptor file_;
  FileAccess access_;
};

}  // namespace

std::shared_ptr<IOImpl_base> make_file_stream(Descriptor file, FileAccess access,
                                              std::string label) {
  return std::make_shared<FileStream>(std::move(file), access, std::move(label));
}

}  // namespace zendro::framework
