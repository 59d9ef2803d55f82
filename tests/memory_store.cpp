#include "tests/memory_store.h"

#include <utility>

#include "framework/url/memory_stream.h"

namespace zendro::tests {
namespace {

using framework::HttpHeaders;
using framework::HttpRequest;
using framework::IoError;

class MemoryResponse : public framework::HttpResponse {
 public:
  MemoryResponse(std::string bytes, HttpHeaders headers, bool breaks_off)
      : stream_(framework::make_memory_stream(std::make_shared<const std::string>(std::move(bytes)),
                                              "memory")),
        headers_(std::move(headers)),
        breaks_off_(breaks_off) {}

  [[nodiscard]] const HttpHeaders& headers() const override { return headers_; }
  [[nodiscard]] long status() const override { return 200; }
  [[nodiscard]] const IoError& error() const override { return error_ ? error_ : stream_->error(); }
  bool open(std::string_view url) override { return stream_->open(url); }
  void close() override { stream_->close(); }
  void flush() override {}
  std::int64_t read(void* buffer, std::size_t size) override {
    const std::int64_t count = stream_->read(buffer, size);
    if (count != 0 || !breaks_off_) return count;
    error_.text = "memory: broken off";
    return -1;
  }
  std::int64_t write(const void* buffer, std::size_t size) override {
    return stream_->write(buffer, size);
  }
  std::int64_t seek(std::int64_t offset, framework::SeekOrigin origin) override {
    return stream_->seek(offset, origin);
  }
  [[nodiscard]] std::int64_t size() override { return -1; }
  [[nodiscard]] bool seekable() override { return false; }

 private:
  std::shared_ptr<framework::IOImpl_base> stream_;
  HttpHeaders headers_;
  bool breaks_off_;
  IoError error_;
};

}  // namespace

class MemoryTransport : public framework::HttpTransport {
 public:
  explicit MemoryTransport(MemoryStore& store) : store_(store) {}

  framework::HttpAnswer get(const HttpRequest& request) override {
    using Fault = MemoryStore::Fault;
    const Fault fault = store_.next_fault();
    if (fault == Fault::no_answer || !request.url.starts_with(kStoreAddress)) {
      return tl::unexpected(IoError{request.url + ": no answer"});
    }
    const auto found = store_.answers_.find(request.url);
    MemoryStore::Answer answer =
        found == store_.answers_.end() ? MemoryStore::Answer{request.url, {}} : found->second;
    if (fault == Fault::breaks_off || fault == Fault::cut) {
      answer.bytes.resize(answer.bytes.size() / 2);
    } else if (fault == Fault::other_bytes && !answer.bytes.empty()) {
      answer.bytes[answer.bytes.size() / 2] ^= 1;
    }
    return std::make_shared<MemoryResponse>(std::move(answer.bytes), std::move(answer.headers),
                                            fault == Fault::breaks_off);
  }

  framework::PostResult post(const HttpRequest& request, std::string_view) override {
    if (store_.next_fault() == MemoryStore::Fault::none) return {};
    return tl::unexpected(framework::NotSent{{request.url + ": not accepted"}, true});
  }

 private:
  MemoryStore& store_;
};

MemoryStore::MemoryStore() {
  put("bootstrap", R"({"pkg.store_url": ")" + std::string(kStoreAddress) + R"("})");
}

void MemoryStore::put(std::string_view path, std::string bytes, HttpHeaders headers) {
  answers_[std::string(kStoreAddress).append(path)] = {std::move(bytes), std::move(headers)};
}

MemoryStore::Fault MemoryStore::next_fault() {
  if (faults_.empty()) return Fault::none;
  const auto byte = static_cast<unsigned char>(faults_.front());
  faults_.remove_prefix(1);
  constexpr int first = '1';
  constexpr int last = first - 1 + static_cast<int>(Fault::other_bytes);
  return byte < first || byte > last ? Fault::none : static_cast<Fault>(byte - first + 1);
}

std::unique_ptr<framework::HttpTransport> MemoryStore::make_transport() {
  return std::make_unique<MemoryTransport>(*this);
}

}  // namespace zendro::tests
