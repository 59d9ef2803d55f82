#include "framework/http.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <new>

#include <curl/curl.h>

#include "framework/broken_pipe.h"
#include "framework/files.h"
#include "framework/http_exchange.h"
#include "framework/http_url.h"
#include "framework/system_proxy.h"

namespace zendro::framework {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kMaxRedirects = 10;
/// What an unwanted body may cost, for the sake of keeping its connection.
constexpr std::size_t kDrainBytes = 64 * 1024;
constexpr milliseconds kDrainTime{500};
/// The longest wait between two looks at the clock.
constexpr milliseconds kPollTime{100};
/// How many requests are sent before they are asked for.
constexpr std::size_t kReadAhead = 20;
/// How long a server keeps a connection open on which nobody reads, at least.
constexpr std::chrono::seconds kPatienceOfServers{5};
/// How long those that are read ahead may go without being moved on, while others are read.
constexpr milliseconds kMoment{1};
constexpr std::size_t kMaxCaFile = 16 * 1024 * 1024;

/// Whether no header could end its line and begin another one.
bool sound(const std::vector<std::pair<std::string, std::string>>& headers) {
  const auto control = [](char c) { return (c >= 0 && c < 0x20 && c != '\t') || c == 0x7F; };
  return std::none_of(headers.begin(), headers.end(), [&](const auto& header) {
    return std::any_of(header.first.begin(), header.first.end(), control) ||
           std::any_of(header.second.begin(), header.second.end(), control);
  });
}

/// Whether an answer asks for the same request elsewhere: where a redirect would turn a POST into
/// a GET, it asks for another one (RFC 9110, section 15.4).
bool leads_elsewhere(long status, bool is_post) {
  if (status == 307 || status == 308) return true;
  return !is_post && (status == 301 || status == 302 || status == 303);
}

class CurlResponse;

class CurlTransport final : public HttpTransport {
 public:
  explicit CurlTransport(const TransportSettings& settings);
  ~CurlTransport() override { end(); }

  std::shared_ptr<HttpResponse> get(const HttpRequest& request, IoError& error) override;
  SendOutcome post(const HttpRequest& request, std::string_view body, IoError& error) override;
  void expect(const std::vector<std::string>& urls) override;

  /// Body bytes of the current answer: their count, 0 at its end, -1 on failure.
  std::int64_t read_body(void* buffer, std::size_t size, IoError& error);
  /// Ends the current request, whose answer then has nothing more to read.
  void end();

 private:
  struct Asked {
    long status = 0;  ///< of the final answer; 0: there was none
    bool connected = false;
  };

  Asked ask(const HttpRequest& request, const std::string_view* body, IoError& error);
  [[nodiscard]] std::string redirect_target(int redirects, std::string& cause) const;
  void start(Exchange& exchange, const HttpRequest& request, const std::string_view* body,
             bool with_credentials);
  CURLMcode move_on();
  template <class Condition>
  void drive(const Condition& enough);
  void drain();

  [[nodiscard]] Transfer& transfer() { return current_->transfer(); }
  [[nodiscard]] const Transfer& transfer() const { return current_->transfer(); }
  std::unique_ptr<Exchange> take_spare();
  void put_back(std::unique_ptr<Exchange> exchange);
  void forget_ahead();
  bool take_ahead(const std::string& url);
  [[nodiscard]] bool was_kept_waiting(const Exchange& exchange) const;
  [[nodiscard]] static bool is_of_use(const Exchange& exchange);
  void read_ahead();

  TransportSettings settings_;
  std::string ca_certificates_;
  IoError ca_error_;
  const std::unique_ptr<SystemProxy> system_proxy_ = make_system_proxy();
  CurlResponse* response_ = nullptr;   ///< reads the current transfer; cleared when that ends
  std::deque<std::string> expected_;   ///< encoded URLs of requests to come that are not sent yet
  steady_clock::time_point moved_on_;  ///< when transfers were last moved on
  // The last members: exchanges leave the multi handle.
  std::unique_ptr<CURLM, CurlMultiFree> multi_;
  std::unique_ptr<Exchange> current_;
  std::deque<std::unique_ptr<Exchange>> ahead_;  ///< sent, but not asked for yet, in their order
  std::vector<std::unique_ptr<Exchange>> spare_;
};

/// Lets go of the transport when the transport starts something else, and the other way round.
class CurlResponse final : public HttpResponse {
 public:
  CurlResponse(CurlTransport& transport, std::string url, HttpHeaders headers, std::int64_t size)
      : transport_(&transport), url_(std::move(url)), headers_(std::move(headers)), size_(size) {}
  ~CurlResponse() override { close(); }

  [[nodiscard]] const HttpHeaders& headers() const override { return headers_; }
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
  IoError error_;
  bool at_end_ = false;
};

CurlTransport::CurlTransport(const TransportSettings& settings) : settings_(settings) {
  static const CURLcode initialised = [] {
    ignore_broken_pipes();
    return curl_global_init(CURL_GLOBAL_DEFAULT);
  }();
  if (initialised == CURLE_OK) multi_.reset(curl_multi_init());
  if (!multi_) throw std::bad_alloc();
  current_ = take_spare();
  if (!settings_.ca_file.empty()) {
    read_file(settings_.ca_file, ca_certificates_, kMaxCaFile, ca_error_);
  }
}

void CurlTransport::end() {
  if (response_ != nullptr) std::exchange(response_, nullptr)->detach();
  current_->end();
}

std::shared_ptr<HttpResponse> CurlTransport::get(const HttpRequest& request, IoError& error) {
  const Asked asked = ask(request, nullptr, error);
  if (asked.status == 0) return nullptr;
  if (asked.status != 200) {
    error = current_->fail("HTTP status " + std::to_string(asked.status));
    drain();
    end();
    return nullptr;
  }
  read_ahead();
  auto response = std::make_shared<CurlResponse>(
      *this, transfer().url, std::move(transfer().headers), current_->content_length());
  response_ = response.get();
  return response;
}

SendOutcome CurlTransport::post(const HttpRequest& request, std::string_view body, IoError& error) {
  const Asked asked = ask(request, &body, error);
  if (asked.status == 0) {
    return asked.connected ? SendOutcome::not_sent : SendOutcome::not_opened;
  }
  SendOutcome outcome = SendOutcome::not_sent;
  if (asked.status < 200 || asked.status > 299) {
    error = current_->fail("HTTP status " + std::to_string(asked.status));
  } else {
    // The answer may come early, before the last byte is sent.
    drive([&] { return current_->sent_bytes() >= body.size(); });
    if (current_->sent_bytes() >= body.size()) {
      outcome = SendOutcome::sent;
    } else {
      error = current_->fail(transfer().cause.empty() ? "answered before all was sent"
                                                      : transfer().cause);
    }
  }
  drain();
  end();
  return outcome;
}

std::int64_t CurlTransport::read_body(void* buffer, std::size_t size, IoError& error) {
  BodyBuffer& bytes = current_->body();
  if (bytes.empty()) {
    current_->resume();
    drive([&bytes] { return !bytes.empty(); });
  }
  if (bytes.empty() && !transfer().cause.empty()) {
    error = current_->fail(transfer().cause);
    return -1;
  }
  return static_cast<std::int64_t>(bytes.take(buffer, size));
}

/// Sends a request, and again where redirects lead, until an answer is to be judged.
CurlTransport::Asked CurlTransport::ask(const HttpRequest& request, const std::string_view* body,
                                        IoError& error) {
  end();
  Asked asked;
  std::string cause;
  const std::string first_url = http_request_url(request.url, cause);
  const bool is_plain = body == nullptr && request.headers.empty() && request.trace_log.empty();
  bool is_sent = is_plain && cause.empty() && take_ahead(first_url);
  if (!is_sent) {
    if (!request.trace_log.empty()) current_->trace_to(request.trace_log, request.trace_level);
    current_->aim(first_url.empty() ? request.url : first_url);
  }
  if (cause.empty() && !sound(request.headers)) cause = "a request header has control characters";
  if (cause.empty() && ca_error_) cause = "no trusted certificates: " + ca_error_.text;

  for (int redirects = 0; cause.empty(); ++redirects) {
    if (!std::exchange(is_sent, false)) {
      start(*current_, request, body, redirects == 0 || same_origin(first_url, transfer().url));
    }
    drive([this] { return transfer().answered; });
    asked.connected |= transfer().connected;
    if (!transfer().answered) {
      cause = transfer().cause.empty() ? "closed without an answer" : transfer().cause;
      break;
    }
    const long code = current_->status();
    if (!leads_elsewhere(code, body != nullptr)) {
      asked.status = code;
      return asked;
    }
    const std::string target = redirect_target(redirects, cause);
    drain();
    if (cause.empty()) current_->aim(target);
  }
  error = current_->fail(cause);
  end();
  return asked;
}

/// Where the current answer leads; empty, with the reason in `cause`, where it is not followed.
std::string CurlTransport::redirect_target(int redirects, std::string& cause) const {
  const auto location = transfer().headers.find("Location");
  if (location == transfer().headers.end()) {
    cause = "redirect without a location";
    return {};
  }
  std::string target = http_request_url(resolve_url(transfer().url, location->second), cause);
  if (redirects == kMaxRedirects) {
    cause = "more than " + std::to_string(kMaxRedirects) + " redirects";
  } else if (!target.empty() && is_https(transfer().url) && !is_https(target)) {
    cause = "https must not lead to http";
  }
  if (!cause.empty()) cause = "redirect to \"" + location->second + "\" refused: " + cause;
  return target;
}

void CurlTransport::start(Exchange& exchange, const HttpRequest& request,
                          const std::string_view* body, bool with_credentials) {
  exchange.start(request,
                 {body, with_credentials, system_proxy_->for_url(exchange.transfer().url)});
}

/// Moves all transfers on as far as they go without waiting.
CURLMcode CurlTransport::move_on() {
  int count = 0;
  const CURLMcode code = curl_multi_perform(multi_.get(), &count);
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &count)) {
    if (message->msg == CURLMSG_DONE) {
      Exchange::of(message->easy_handle).finished(message->data.result);
    }
  }
  moved_on_ = steady_clock::now();
  return code;
}

/// Moves the transfers on until there is `enough` of the current one or it is over.
template <class Condition>
void CurlTransport::drive(const Condition& enough) {
  while (!transfer().over && !enough()) {
    CURLMcode code = move_on();
    if (transfer().over || enough()) return;

    const auto before = steady_clock::now();
    if (code == CURLM_OK) {
      code =
          curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(kPollTime.count()), nullptr);
    }
    if (code != CURLM_OK) return current_->stop(curl_multi_strerror(code));
    if (transfer().connected) {
      transfer().stall.waited(
          steady_clock::now() - before,
          transfer().header_bytes + transfer().body_bytes + current_->sent_bytes());
      if (transfer().stall.stalled()) {
        return current_->stop("slower than " + std::to_string(settings_.stall_speed) +
                              " bytes/s for " + std::to_string(settings_.stall_time.count()) +
                              " s");
      }
    }
  }
}

/// Reads and drops the rest of a short body, which keeps the connection for the next request.
void CurlTransport::drain() {
  current_->discard_body();
  const auto until = steady_clock::now() + kDrainTime;
  const auto bound = transfer().body_bytes + kDrainBytes;
  drive([&] { return transfer().body_bytes > bound || steady_clock::now() > until; });
}

std::unique_ptr<Exchange> CurlTransport::take_spare() {
  if (spare_.empty()) {
    return std::make_unique<Exchange>(multi_.get(), settings_, ca_certificates_);
  }
  std::unique_ptr<Exchange> exchange = std::move(spare_.back());
  spare_.pop_back();
  return exchange;
}

void CurlTransport::put_back(std::unique_ptr<Exchange> exchange) {
  exchange->end();
  spare_.push_back(std::move(exchange));
}

void CurlTransport::forget_ahead() {
  for (std::unique_ptr<Exchange>& exchange : ahead_) put_back(std::move(exchange));
  ahead_.clear();
}

void CurlTransport::expect(const std::vector<std::string>& urls) {
  forget_ahead();
  expected_.clear();
  for (const std::string& url : urls) {
    std::string cause;
    std::string encoded = http_request_url(url, cause);
    if (!cause.empty()) break;
    expected_.push_back(std::move(encoded));
  }
}

/// Makes the exchange that was begun for this URL the current one and waits for its answer, if
/// there is one that serves as well as a new one. Otherwise the current one is free, and nothing
/// more is read ahead where the server did not take it.
bool CurlTransport::take_ahead(const std::string& url) {
  const auto found = std::find_if(ahead_.begin(), ahead_.end(), [&url](const auto& exchange) {
    return exchange->transfer().url == url;
  });
  if (found == ahead_.end()) {
    const auto expected = std::find(expected_.begin(), expected_.end(), url);
    if (expected != expected_.end()) {
      forget_ahead();
      expected_.erase(expected_.begin(), std::next(expected));
    }
    return false;
  }
  // Those before it were expected earlier and are not asked for any more.
  for (auto before = ahead_.begin(); before != found; ++before) put_back(std::move(*before));
  put_back(std::exchange(current_, std::move(*found)));
  ahead_.erase(ahead_.begin(), std::next(found));
  if (was_kept_waiting(*current_)) {
    current_->end();
    return false;
  }
  // Where it has all arrived, the others can wait for a moment.
  if (!transfer().over || steady_clock::now() - moved_on_ > kMoment) move_on();
  drive([this] { return transfer().answered; });
  if (is_of_use(*current_)) return true;
  expect({});  // it rather takes one request after the other
  current_->end();
  return false;
}

/// Whether the server has had to wait for its bytes to be read, and may have given up.
bool CurlTransport::was_kept_waiting(const Exchange& exchange) const {
  const Transfer& transfer = exchange.transfer();
  if (transfer.over) return false;
  const auto now = steady_clock::now();
  return now - moved_on_ > kPatienceOfServers ||
         (transfer.paused && now - transfer.paused_since > kPatienceOfServers);
}

/// Whether an answer that came ahead of its turn is good, or leads to one.
bool CurlTransport::is_of_use(const Exchange& exchange) {
  const Transfer& transfer = exchange.transfer();
  return transfer.answered && transfer.cause.empty() &&
         (exchange.status() == 200 || leads_elsewhere(exchange.status(), false));
}

/// Sends what is expected next, as far as there are connections for it. What has arrived already
/// and waits counts as well, so that memory is bounded.
void CurlTransport::read_ahead() {
  while (!expected_.empty() && ahead_.size() < kReadAhead) {
    std::unique_ptr<Exchange> exchange = take_spare();
    exchange->aim(expected_.front());
    expected_.pop_front();
    start(*exchange, {}, nullptr, false);
    ahead_.push_back(std::move(exchange));
  }
}

}  // namespace

std::unique_ptr<HttpTransport> make_http_transport(const TransportSettings& settings) {
  return std::make_unique<CurlTransport>(settings);
}

}  // namespace zendro::framework
