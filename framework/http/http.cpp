#include "framework/http/http.h"

#include <utility>

#include "framework/http/request_sender.h"

namespace zendro::framework {
namespace {

std::string too_long(std::uint64_t limit) {
  return "holds more than " + std::to_string(limit) + " bytes";
}

/// Why an answer is not taken; empty: it is.
std::string refusal(const HttpHeaders& headers, std::int64_t size, std::uint64_t size_limit) {
  if (size > 0 && static_cast<std::uint64_t>(size) > size_limit) return too_long(size_limit);
  // These names mean that the body is not encoded: "identity" is the standard's, "none" is a common
  // mistake of servers, and "aws-chunked" is left behind by uploads to S3.
  return refused_encoding(headers, "Content-Encoding", {"identity", "none", "aws-chunked"});
}

class CurlResponse;

class CurlTransport final : public HttpTransport {
 public:
  explicit CurlTransport(const TransportSettings& settings) : sender_(settings) {}
  ~CurlTransport() override { end(); }

  HttpAnswer get(const HttpRequest& request) override;
  PostResult post(const HttpRequest& request, std::string_view body) override;
  void expect(const std::vector<std::string>& urls) override { sender_.expect(urls); }

  /// Body bytes of the current answer: their count, 0 at its end, -1 on failure.
  std::int64_t read_body(void* buffer, std::size_t size, IoError& error);
  /// Ends the current request, whose answer then has nothing more to read.
  void end();

 private:
  SendResult send(const HttpRequest& request, const std::string_view* body);
  [[nodiscard]] Transfer& transfer() { return sender_.current().transfer(); }

  CurlResponse* response_ = nullptr;  ///< reads the current answer; cleared when that ends
  RequestSender sender_;
  std::uint64_t size_limit_ = 0;  ///< of the current answer
};

/// Reads its body through the transport until it is closed, or until the transport calls detach(),
/// as it does before its next request and at its end.
class CurlResponse final : public HttpResponse {
 public:
  CurlResponse(CurlTransport& transport, std::string url, HttpHeaders headers, std::int64_t size,
               long status)
      : transport_(&transport),
        url_(std::move(url)),
        headers_(std::move(headers)),
        size_(size),
        status_(status) {}
  ~CurlResponse() override { close(); }

  [[nodiscard]] const HttpHeaders& headers() const override { return headers_; }
  [[nodiscard]] long status() const override { return status_; }
  [[nodiscard]] const IoError& error() const override { return error_; }
  bool open(std::string_view) override { return refuse("an answer cannot be opened again"); }
  void close() override {
    if (transport_ != nullptr) transport_->end();
  }
  void flush() override {}
  std::int64_t read(void* buffer, std::size_t size) override {
    if (at_end_ || size == 0) return 0;
    if (error_) return -1;
    if (transport_ == nullptr) return refuse("the answer is closed") ? 0 : -1;
    const std::int64_t count = transport_->read_body(buffer, size, error_);
    at_end_ = count == 0;
    if (count <= 0) close();
    return count;
  }
  std::int64_t write(const void*, std::size_t) override {
    return refuse("an answer cannot be written") ? 0 : -1;
  }
  std::int64_t seek(std::int64_t, SeekOrigin) override {
    return refuse("an answer is read from front to back") ? 0 : -1;
  }
  [[nodiscard]] std::int64_t size() override { return size_; }
  [[nodiscard]] bool seekable() override { return false; }

  void detach() { transport_ = nullptr; }

 private:
  bool refuse(std::string_view cause) {
    if (!error_) error_ = failure_of(url_, cause);
    return false;
  }

  CurlTransport* transport_;
  std::string url_;
  HttpHeaders headers_;
  std::int64_t size_;
  long status_;
  IoError error_;
  bool at_end_ = false;
};

void CurlTransport::end() {
  if (response_ != nullptr) std::exchange(response_, nullptr)->detach();
  sender_.end();
}

SendResult CurlTransport::send(const HttpRequest& request, const std::string_view* body) {
  end();
  return sender_.send(request, body);
}

HttpAnswer CurlTransport::get(const HttpRequest& request) {
  SendResult sent = send(request, nullptr);
  if (sent.status == 0) return tl::unexpected(std::move(sent.error));
  Exchange& exchange = sender_.current();
  const bool is_taken = sent.status == 200 || request.any_status ||
                        (sent.status == kNotModified && request.is_conditional);
  if (!is_taken) {
    IoError error = exchange.fail("HTTP status " + std::to_string(sent.status));
    sender_.drain();
    end();
    return tl::unexpected(std::move(error));
  }
  const std::int64_t size = exchange.content_length();
  const std::string cause = refusal(transfer().headers, size, request.size_limit);
  if (!cause.empty()) {
    IoError error = exchange.fail(cause);
    end();
    return tl::unexpected(std::move(error));
  }
  size_limit_ = request.size_limit;
  sender_.read_ahead();
  auto response = std::make_shared<CurlResponse>(*this, transfer().url,
                                                 std::move(transfer().headers), size, sent.status);
  response_ = response.get();
  return response;
}

PostResult CurlTransport::post(const HttpRequest& request, std::string_view body) {
  SendResult result = send(request, &body);
  if (result.until) {
    if (result.status != 0) sender_.drain(*result.until);
    end();
    return {};
  }
  if (result.status != 0) {
    const std::string& cause = transfer().cause;
    result.error = sender_.current().fail(cause.empty() ? "answered before all was sent" : cause);
  }
  end();
  return tl::unexpected(NotSent{std::move(result.error), result.connected});
}

std::int64_t CurlTransport::read_body(void* buffer, std::size_t size, IoError& error) {
  Exchange& exchange = sender_.current();
  const std::size_t count = sender_.read_body({static_cast<char*>(buffer), size});
  transfer().delivered += count;
  if (transfer().delivered > size_limit_) exchange.stop(too_long(size_limit_));
  if ((count == 0 || transfer().delivered > size_limit_) && !transfer().cause.empty()) {
    error = exchange.fail(transfer().cause);
    return -1;
  }
  return static_cast<std::int64_t>(count);
}

}  // namespace

std::unique_ptr<HttpTransport> make_http_transport(const TransportSettings& settings) {
  return std::make_unique<CurlTransport>(settings);
}

}  // namespace zendro::framework
