#include "framework/url/memory_stream.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "framework/io/stream_base.h"
#include "framework/text/percent.h"
#include "framework/url/url_io.h"

namespace zendro::framework {
namespace {

class MemoryStream : public StreamBase {
 public:
  MemoryStream(std::shared_ptr<const std::string> bytes, std::string label)
      : StreamBase(std::move(label)), bytes_(std::move(bytes)) {}

  void close() override { bytes_.reset(); }

  std::int64_t read(void* buffer, std::size_t size) override {
    if (!bytes_) return fail("is closed");
    const auto start = static_cast<std::size_t>(position_);
    const std::size_t count = std::min(size, bytes_->size() - start);
    if (count > 0) std::memcpy(buffer, bytes_->data() + start, count);
    position_ += static_cast<std::int64_t>(count);
    return static_cast<std::int64_t>(count);
  }

  std::int64_t seek(std::int64_t offset, SeekOrigin origin) override {
    if (!bytes_) return fail("is closed");
    const auto target = seek_target(offset, origin, position_, size());
    if (!target) return -1;
    return position_ = *target;
  }

  [[nodiscard]] std::int64_t size() override {
    return bytes_ ? static_cast<std::int64_t>(bytes_->size()) : -1;
  }

  [[nodiscard]] bool seekable() override { return bytes_ != nullptr; }

 private:
  std::shared_ptr<const std::string> bytes_;
  std::int64_t position_ = 0;
};

struct Registry {
  std::mutex mutex;
  std::unordered_map<std::string, std::shared_ptr<const std::string>> files;
  std::uint64_t next_suffix = 2;
};

// Never destroyed, so that registrations with static lifetime may end after it.
Registry& registry() {
  static auto& instance = *new Registry;
  return instance;
}

// The name as one path segment: nothing in it can look like a separator of a URL.
std::string url_of(std::string_view name) {
  constexpr std::string_view kUnreserved =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
  std::string url = "memory://localhost/";
  for (const char c : name) {
    if (kUnreserved.find(c) != std::string_view::npos) {
      url += c;
    } else {
      append_percent_encoded(url, static_cast<unsigned char>(c));
    }
  }
  return url;
}

}  // namespace

std::shared_ptr<IOImpl_base> make_memory_stream(std::shared_ptr<const std::string> bytes,
                                                std::string label) {
  return std::make_shared<MemoryStream>(std::move(bytes), std::move(label));
}

OpenedStream open_memory_file(std::string_view url) {
  std::string key(url);
  Registry& files = registry();
  const std::lock_guard lock(files.mutex);
  const auto found = files.files.find(key);
  if (found == files.files.end()) {
    return tl::unexpected(IoError{key + ": no such file in memory"});
  }
  return make_memory_stream(found->second, std::move(key));
}

MemoryFile::MemoryFile(std::string_view name, std::shared_ptr<const std::string> bytes) {
  const std::string preferred = url_of(name);
  url_ = preferred;
  Registry& files = registry();
  const std::lock_guard lock(files.mutex);
  while (!files.files.try_emplace(url_, bytes).second) {
    url_ = preferred + "~" + std::to_string(files.next_suffix++);
  }
}

MemoryFile::~MemoryFile() {
  Registry& files = registry();
  const std::lock_guard lock(files.mutex);
  files.files.erase(url_);
}

}  // namespace zendro::framework
