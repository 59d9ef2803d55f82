#include "framework/http.h"

#include <algorithm>
#include <array>
#include <new>

#include <curl/curl.h>

#include "framework/broken_pipe.h"
#include "framework/files.h"
#include "framework/http_trace.h"
#include "framework/http_transfer.h"
#include "framework/http_url.h"
#include "framework/system_proxy.h"

namespace zendro::framework {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* kUserAgent = "Zendro-Package-Manager/1.0";
constexpr int kMaxRedirects = 10;
constexpr std::size_t kMaxHeaderBytes = 256 * 1024;
/// What an unwanted body may cost, for the sake of keeping its connection.
constexpr std::size_t kDrainBytes = 64 * 1024;
constexpr milliseconds kDrainTime{500};
/// The longest wait between two looks at the clock.
constexpr milliseconds kPollTime{100};
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

IoError failure_of(std::string_view url, std::string_view cause) {
  return {presentable(url) + ": " + presentable(cause)};
}

struct CurlFree {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct CurlMultiFree {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};

/// A list of header lines as libcurl takes it.
class HeaderList {
 public:
  void add(const std::string& line) {
    curl_slist* longer = curl_slist_append(list_.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(list_.release());
    list_.reset(longer);
  }
  [[nodiscard]] curl_slist* get() const { return list_.get(); }

 private:
  std::unique_ptr<curl_slist, CurlFree> list_;
};

class CurlResponse;

class CurlTransport final : public HttpTransport {
 public:
  explicit CurlTransport(const TransportSettings& settings);
  ~CurlTransport() override;

  std::shared_ptr<HttpResponse> get(const HttpRequest& request, IoError& error) override;
  SendOutcome post(const HttpRequest& request, std::string_view body, IoError& error) override;

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
  void start(const HttpRequest& request, const std::string_view* body, bool with_credentials);
  template <class Condition>
  void drive(const Condition& enough);
  void stop(std::string_view cause);
  void drain();
  void resume();
  IoError fail(std::string_view cause);
  [[nodiscard]] long status() const;
  [[nodiscard]] std::uint64_t sent_bytes() const;

  static std::size_t on_header(char* line, std::size_t one, std::size_t size, void* self);
  static std::size_t on_body(char* bytes, std::size_t one, std::size_t size, void* self);
  static int on_debug(CURL* easy, curl_infotype type, char* bytes, std::size_t size, void* self);
  static int on_connected(void* self, char* ip, char* local_ip, int port, int local_port);

  TransportSettings settings_;
  std::string ca_certificates_;
  IoError ca_error_;
  const std::unique_ptr<SystemProxy> system_proxy_ = make_system_proxy();
  HeaderList headers_;
  std::array<char, CURL_ERROR_SIZE> curl_error_{};
  std::optional<HttpTrace> trace_;
  std::optional<Transfer> transfer_;
  BodyBuffer buffer_;
  CurlResponse* response_ = nullptr;  ///< reads the current transfer; cleared when that ends
  // The last members, as ending them may still call back.
  std::unique_ptr<CURLM, CurlMultiFree> multi_;
  std::unique_ptr<CURL, CurlFree> easy_;
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
  if (initialised == CURLE_OK) {
    multi_.reset(curl_multi_init());
    easy_.reset(curl_easy_init());
  }
  if (!multi_ || !easy_) throw std::bad_alloc();
  if (!settings_.ca_file.empty()) {
    read_file(settings_.ca_file, ca_certificates_, kMaxCaFile, ca_error_);
  }
}

CurlTransport::~CurlTransport() { end(); }

void CurlTransport::end() {
  if (response_ != nullptr) std::exchange(response_, nullptr)->detach();
  if (transfer_) curl_multi_remove_handle(multi_.get(), easy_.get());
  transfer_.reset();
  trace_.reset();
  buffer_.clear();
}

std::shared_ptr<HttpResponse> CurlTransport::get(const HttpRequest& request, IoError& error) {
  const Asked asked = ask(request, nullptr, error);
  if (asked.status == 0) return nullptr;
  if (asked.status != 200) {
    error = fail("HTTP status " + std::to_string(asked.status));
    drain();
    end();
    return nullptr;
  }
  curl_off_t length = -1;
  if (transfer_->headers.count("Transfer-Encoding") == 0) {
    curl_easy_getinfo(easy_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  }
  auto response =
      std::make_shared<CurlResponse>(*this, transfer_->url, std::move(transfer_->headers), length);
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
    error = fail("HTTP status " + std::to_string(asked.status));
  } else {
    // The answer may come early, before the last byte is sent.
    drive([&] { return sent_bytes() >= body.size(); });
    if (sent_bytes() >= body.size()) {
      outcome = SendOutcome::sent;
    } else {
      error = fail(transfer_->cause.empty() ? "answered before all was sent" : transfer_->cause);
    }
  }
  drain();
  end();
  return outcome;
}

std::int64_t CurlTransport::read_body(void* buffer, std::size_t size, IoError& error) {
  if (buffer_.empty()) {
    resume();
    drive([this] { return !buffer_.empty(); });
  }
  if (buffer_.empty() && !transfer_->cause.empty()) {
    error = fail(transfer_->cause);
    return -1;
  }
  return static_cast<std::int64_t>(buffer_.take(buffer, size));
}

/// Sends a request, and again where redirects lead, until an answer is to be judged.
CurlTransport::Asked CurlTransport::ask(const HttpRequest& request, const std::string_view* body,
                                        IoError& error) {
  end();
  if (!request.trace_log.empty()) trace_.emplace(request.trace_log, request.trace_level);
  Asked asked;
  std::string cause;
  const std::string first_url = http_request_url(request.url, cause);
  transfer_.emplace(first_url.empty() ? request.url : first_url, settings_);
  if (cause.empty() && !sound(request.headers)) cause = "a request header has control characters";
  if (cause.empty() && ca_error_) cause = "no trusted certificates: " + ca_error_.text;

  for (int redirects = 0; cause.empty(); ++redirects) {
    start(request, body, redirects == 0 || same_origin(first_url, transfer_->url));
    drive([this] { return transfer_->answered; });
    asked.connected |= transfer_->connected;
    if (!transfer_->answered) {
      cause = transfer_->cause.empty() ? "closed without an answer" : transfer_->cause;
      break;
    }
    const long code = status();
    if (!leads_elsewhere(code, body != nullptr)) {
      asked.status = code;
      return asked;
    }
    const std::string target = redirect_target(redirects, cause);
    drain();
    if (cause.empty()) transfer_.emplace(target, settings_);
  }
  error = fail(cause);
  end();
  return asked;
}

/// Where the current answer leads; empty, with the reason in `cause`, where it is not followed.
std::string CurlTransport::redirect_target(int redirects, std::string& cause) const {
  const auto location = transfer_->headers.find("Location");
  if (location == transfer_->headers.end()) {
    cause = "redirect without a location";
    return {};
  }
  std::string target = http_request_url(resolve_url(transfer_->url, location->second), cause);
  if (redirects == kMaxRedirects) {
    cause = "more than " + std::to_string(kMaxRedirects) + " redirects";
  } else if (!target.empty() && is_https(transfer_->url) && !is_https(target)) {
    cause = "https must not lead to http";
  }
  if (!cause.empty()) cause = "redirect to \"" + location->second + "\" refused: " + cause;
  return target;
}

/// Makes the current transfer run.
void CurlTransport::start(const HttpRequest& request, const std::string_view* body,
                          bool with_credentials) {
  CURL* easy = easy_.get();
  curl_multi_remove_handle(multi_.get(), easy);
  curl_easy_reset(easy);
  buffer_.clear();
  curl_error_[0] = '\0';

  headers_ = {};
  bool has_type = false;
  for (const auto& [name, value] : request.headers) {
    if (!with_credentials && is_credential_header(name)) continue;
    headers_.add(value.empty() ? name + ";" : name + ": " + value);
    has_type |= same_header_name(name, "Content-Type");
  }

  bool accepted = true;
  const auto set = [&](CURLoption option, auto value) {
    accepted &= curl_easy_setopt(easy, option, value) == CURLE_OK;
  };
  set(CURLOPT_URL, transfer_->url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(CURLOPT_USERAGENT, kUserAgent);
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  set(CURLOPT_SSL_VERIFYPEER, 1L);
  set(CURLOPT_SSL_VERIFYHOST, 2L);
  if (!settings_.ca_file.empty()) {
    // Handed over as bytes, so that no encoding of its path comes in between; and nothing else.
    curl_blob blob{ca_certificates_.data(), ca_certificates_.size(), CURL_BLOB_NOCOPY};
    set(CURLOPT_CAINFO_BLOB, &blob);
    // Refused where certificates in a folder are unknown: there is nothing to switch off then.
    curl_easy_setopt(easy, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  // Where the system checks certificates, it asks whether they were revoked, as far as it can.
  set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
  const std::string proxy = system_proxy_->for_url(transfer_->url);
  if (!proxy.empty()) set(CURLOPT_PROXY, proxy.c_str());
  set(CURLOPT_CONNECTTIMEOUT_MS,
      static_cast<long>(milliseconds(settings_.connect_timeout).count()));
  set(CURLOPT_BUFFERSIZE, static_cast<long>(kIoBlock));
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_ERRORBUFFER, curl_error_.data());
  set(CURLOPT_HEADERFUNCTION, &CurlTransport::on_header);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &CurlTransport::on_body);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_PREREQFUNCTION, &CurlTransport::on_connected);
  set(CURLOPT_PREREQDATA, this);
  if (trace_) {
    set(CURLOPT_DEBUGFUNCTION, &CurlTransport::on_debug);
    set(CURLOPT_DEBUGDATA, this);
    set(CURLOPT_VERBOSE, 1L);
    trace_->request(body != nullptr ? "POST" : "GET", transfer_->url);
  }
  if (body != nullptr) {
    set(CURLOPT_POST, 1L);
    set(CURLOPT_POSTFIELDS, body->empty() ? "" : body->data());
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    headers_.add("Expect:");
    if (!has_type) headers_.add("Content-Type:");
  }
  set(CURLOPT_HTTPHEADER, headers_.get());

  const CURLMcode code = curl_multi_add_handle(multi_.get(), easy);
  if (!accepted || code != CURLM_OK) {
    stop(accepted ? curl_multi_strerror(code) : "the HTTP library lacks a needed feature");
  }
}

/// Moves the transfer on until there is `enough` of it or it is over.
template <class Condition>
void CurlTransport::drive(const Condition& enough) {
  while (!transfer_->over && !enough()) {
    int count = 0;
    CURLMcode code = curl_multi_perform(multi_.get(), &count);
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &count)) {
      if (message->msg != CURLMSG_DONE) continue;
      const CURLcode result = message->data.result;
      transfer_->over = true;
      if (result != CURLE_OK && transfer_->cause.empty()) {
        transfer_->cause = curl_error_[0] != '\0' ? curl_error_.data() : curl_easy_strerror(result);
      }
    }
    if (transfer_->over || enough()) return;

    const auto before = steady_clock::now();
    if (code == CURLM_OK) {
      code =
          curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(kPollTime.count()), nullptr);
    }
    if (code != CURLM_OK) return stop(curl_multi_strerror(code));
    if (transfer_->connected) {
      transfer_->stall.waited(steady_clock::now() - before,
                              transfer_->header_bytes + transfer_->body_bytes + sent_bytes());
      if (transfer_->stall.stalled()) {
        return stop("slower than " + std::to_string(settings_.stall_speed) + " bytes/s for " +
                    std::to_string(settings_.stall_time.count()) + " s");
      }
    }
  }
}

/// Breaks the transfer off, and its connection with it.
void CurlTransport::stop(std::string_view cause) {
  curl_multi_remove_handle(multi_.get(), easy_.get());
  transfer_->over = true;
  transfer_->cause = cause;
}

/// Reads and drops the rest of a short body, which keeps the connection for the next request.
void CurlTransport::drain() {
  transfer_->unwanted = true;
  buffer_.clear();
  resume();
  const auto until = steady_clock::now() + kDrainTime;
  const auto bound = transfer_->body_bytes + kDrainBytes;
  drive([&] { return transfer_->body_bytes > bound || steady_clock::now() > until; });
}

/// Takes what libcurl held back while the buffer was full.
void CurlTransport::resume() {
  if (!std::exchange(transfer_->paused, false)) return;
  const CURLcode result = curl_easy_pause(easy_.get(), CURLPAUSE_CONT);
  if (result != CURLE_OK) stop(curl_easy_strerror(result));
}

IoError CurlTransport::fail(std::string_view cause) {
  IoError error = failure_of(transfer_->url, cause);
  if (trace_) trace_->failure(error.text);
  return error;
}

long CurlTransport::status() const {
  long code = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &code);
  return code;
}

std::uint64_t CurlTransport::sent_bytes() const {
  curl_off_t sent = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
  return static_cast<std::uint64_t>(sent);
}

std::size_t CurlTransport::on_header(char* line, std::size_t, std::size_t size, void* self) try {
  auto& transport = *static_cast<CurlTransport*>(self);
  Transfer& transfer = *transport.transfer_;
  const std::string_view text(line, size);
  transfer.header_bytes += size;
  if (transfer.header_bytes > kMaxHeaderBytes) {
    transfer.cause = "the answer's headers are too large";
    return 0;
  }
  if (text.starts_with('\r') || text.starts_with('\n')) {
    // An interim answer (1xx) is followed by another one.
    transfer.answered = transfer.answered || transport.status() >= 200;
  } else if (!transfer.answered) {  // and no trailer
    transfer.note_header(text);
  }
  return size;
} catch (const std::bad_alloc&) {
  return 0;  // fails the transfer: nothing may be thrown through libcurl
}

std::size_t CurlTransport::on_body(char* bytes, std::size_t, std::size_t size, void* self) {
  auto& transport = *static_cast<CurlTransport*>(self);
  Transfer& transfer = *transport.transfer_;
  if (!transfer.unwanted && !transport.buffer_.append(bytes, size)) {
    transfer.paused = true;
    return CURL_WRITEFUNC_PAUSE;
  }
  transfer.body_bytes += size;
  return size;
}

int CurlTransport::on_debug(CURL*, curl_infotype type, char* bytes, std::size_t size,
                            void* self) try {
  auto& trace = static_cast<CurlTransport*>(self)->trace_;
  if (!trace) return 0;
  const std::string_view text(bytes, size);
  switch (type) {
    case CURLINFO_TEXT:
      trace->remark(text);
      break;
    case CURLINFO_HEADER_OUT:
      trace->request_head(text);
      break;
    case CURLINFO_HEADER_IN:
      trace->response_head(text);
      break;
    case CURLINFO_DATA_IN:
    case CURLINFO_DATA_OUT:
      trace->data(type == CURLINFO_DATA_IN, size);
      break;
    default:
      break;
  }
  return 0;
} catch (const std::bad_alloc&) {
  return 0;
}

int CurlTransport::on_connected(void* self, char*, char*, int, int) {
  static_cast<CurlTransport*>(self)->transfer_->connected = true;
  return CURL_PREREQFUNC_OK;
}

}  // namespace

std::unique_ptr<HttpTransport> make_http_transport(const TransportSettings& settings) {
  return std::make_unique<CurlTransport>(settings);
}

}  // namespace zendro::framework
