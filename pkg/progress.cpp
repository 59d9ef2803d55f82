#include "pkg/progress.h"

#include <utility>

namespace zendro::pkg {

// Forwards everything; what is read is counted.
class progress_reporter::watched_response : public framework::HttpResponse {
 public:
  watched_response(std::shared_ptr<framework::HttpResponse> inner, progress_reporter& reporter)
      : inner_(std::move(inner)), reporter_(reporter) {}

  [[nodiscard]] const framework::HttpHeaders& headers() const override { return inner_->headers(); }
  [[nodiscard]] long status() const override { return inner_->status(); }
  [[nodiscard]] const framework::IoError& error() const override {
    return stopped_ ? stopped_ : inner_->error();
  }
  bool open(std::string_view url) override { return inner_->open(url); }
  void close() override { inner_->close(); }
  void flush() override { inner_->flush(); }
  std::int64_t read(void* buffer, std::size_t size) override {
    if (reporter_.stop_.stop_requested()) {
      stopped_.text = kStopped;
      return -1;
    }
    const std::int64_t count = inner_->read(buffer, size);
    reporter_.transferred(count);
    return count;
  }
  std::int64_t write(const void* buffer, std::size_t size) override {
    return inner_->write(buffer, size);
  }
  std::int64_t seek(std::int64_t offset, framework::SeekOrigin origin) override {
    return inner_->seek(offset, origin);
  }
  [[nodiscard]] std::int64_t size() override { return inner_->size(); }
  [[nodiscard]] bool seekable() override { return inner_->seekable(); }

 private:
  std::shared_ptr<framework::HttpResponse> inner_;
  progress_reporter& reporter_;
  framework::IoError stopped_;
};

void progress_reporter::begin(std::uint64_t members) {
  progress_ = {};
  progress_.members = members;
  tell();
}

void progress_reporter::member_done() {
  ++progress_.members_done;
  end_transfer();
  tell();
}

void progress_reporter::begin_transfer(std::int64_t size) {
  end_transfer();
  if (size >= 0) progress_.bytes = static_cast<std::uint64_t>(size);
  tell();
}

// What is read to its end is no longer under way.
void progress_reporter::transferred(std::int64_t count) {
  if (count > 0) {
    progress_.bytes_done += static_cast<std::uint64_t>(count);
  } else {
    end_transfer();
  }
  tell();
}

std::shared_ptr<framework::HttpResponse> progress_reporter::watch(
    std::shared_ptr<framework::HttpResponse> response) {
  if (!sink_ && !stop_.stop_possible()) return response;
  begin_transfer(response->size());
  return std::make_shared<watched_response>(std::move(response), *this);
}

void progress_reporter::end_transfer() {
  progress_.bytes_done = 0;
  progress_.bytes.reset();
}

void progress_reporter::tell() const {
  if (sink_) sink_(progress_);
}

}  // namespace zendro::pkg
