#include "framework/system/file_stream.h"

#include <utility>

#include "framework/io/stream_base.h"

namespace zendro::framework {
namespace {

class FileStream : public StreamBase {
 public:
  FileStream(SystemFile file, FileAccess access, std::string label)
      : StreamBase(std::move(label)), file_(std::move(file)), access_(access) {}

  void close() override {
    if (!file_.close() && access_ == FileAccess::write) fail(file_.cause());
  }

  void flush() override {
    if (access_ == FileAccess::write && !file_.flush()) fail(file_.cause());
  }

  std::int64_t read(void* buffer, std::size_t size) override {
    return checked(file_.read(buffer, size));
  }

  std::int64_t write(const void* buffer, std::size_t size) override {
    if (access_ != FileAccess::write) return StreamBase::write(buffer, size);
    if (!file_.write({static_cast<const char*>(buffer), size})) return fail(file_.cause());
    return static_cast<std::int64_t>(size);
  }

  std::int64_t seek(std::int64_t offset, SeekOrigin origin) override {
    return checked(file_.seek(offset, origin));
  }

  [[nodiscard]] std::int64_t size() override { return checked(file_.size()); }
  [[nodiscard]] bool seekable() override { return static_cast<bool>(file_); }

 private:
  std::int64_t checked(std::int64_t result) { return result < 0 ? fail(file_.cause()) : result; }

  SystemFile file_;
  FileAccess access_;
};

}  // namespace

std::shared_ptr<IOImpl_base> make_file_stream(SystemFile file, FileAccess access,
                                              std::string label) {
  return std::make_shared<FileStream>(std::move(file), access, std::move(label));
}

}  // namespace zendro::framework
