#include "framework/http_exchange.h"

#include <new>
#include <utility>

#include "framework/http_url.h"

namespace zendro::framework {
namespace {

using std::chrono::milliseconds;

constexpr const char* kUserAgent = "Zendro-Package-Manager/1.0";
constexpr std::size_t kMaxHeaderBytes = 256 * 1024;

}  // namespace

void HeaderList::add(const std::string& line) {
  curl_slist* longer = curl_slist_append(list_.get(), line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(list_.release());
  list_.reset(longer);
}

Exchange::Exchange(CURLM* multi, const TransportSettings& settings,
                   const std::string& ca_certificates)
    : multi_(multi), settings_(settings), ca_certificates_(ca_certificates) {
  easy_.reset(curl_easy_init());
  if (!easy_) throw std::bad_alloc();
}

Exchange& Exchange::of(CURL* easy) {
  char* self = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
  return *reinterpret_cast<Exchange*>(self);
}

void Exchange::start(const HttpRequest& request, const SendOptions& options) {
  CURL* easy = easy_.get();
  const std::string_view* body = options.body;
  curl_multi_remove_handle(multi_, easy);
  curl_easy_reset(easy);
  buffer_.clear();
  curl_error_[0] = '\0';

  headers_ = {};
  bool has_type = false;
  for (const auto& [name, value] : request.headers) {
    if (!options.with_credentials && is_credential_header(name)) continue;
    headers_.add(value.empty() ? name + ";" : name + ": " + value);
    has_type |= same_header_name(name, "Content-Type");
  }

  bool accepted = true;
  const auto set = [&](CURLoption option, auto value) {
    accepted &= curl_easy_setopt(easy, option, value) == CURLE_OK;
  };
  set(CURLOPT_PRIVATE, static_cast<void*>(this));
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
    curl_blob blob{const_cast<char*>(ca_certificates_.data()), ca_certificates_.size(),
                   CURL_BLOB_NOCOPY};
    set(CURLOPT_CAINFO_BLOB, &blob);
    // Refused where certificates in a folder are unknown: there is nothing to switch off then.
    curl_easy_setopt(easy, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  // Where the system checks certificates, it asks whether they were revoked, as far as it can.
  set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
  if (!options.proxy.empty()) set(CURLOPT_PROXY, options.proxy.c_str());
  set(CURLOPT_CONNECTTIMEOUT_MS,
      static_cast<long>(milliseconds(settings_.connect_timeout).count()));
  set(CURLOPT_BUFFERSIZE, static_cast<long>(kIoBlock));
  set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(CURLOPT_ERRORBUFFER, curl_error_.data());
  set(CURLOPT_HEADERFUNCTION, &Exchange::on_header);
  set(CURLOPT_HEADERDATA, this);
  set(CURLOPT_WRITEFUNCTION, &Exchange::on_body);
  set(CURLOPT_WRITEDATA, this);
  set(CURLOPT_PREREQFUNCTION, &Exchange::on_connected);
  set(CURLOPT_PREREQDATA, this);
  if (trace_) {
    set(CURLOPT_DEBUGFUNCTION, &Exchange::on_debug);
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

  const CURLMcode code = curl_multi_add_handle(multi_, easy);
  if (!accepted || code != CURLM_OK) {
    stop(accepted ? curl_multi_strerror(code) : "the HTTP library lacks a needed feature");
  }
}

void Exchange::finished(CURLcode result) {
  transfer_->over = true;
  if (result != CURLE_OK && transfer_->cause.empty()) {
    transfer_->cause = curl_error_[0] != '\0' ? curl_error_.data() : curl_easy_strerror(result);
  }
}

void Exchange::stop(std::string_view cause) {
  curl_multi_remove_handle(multi_, easy_.get());
  transfer_->over = true;
  transfer_->cause = cause;
}

void Exchange::resume() {
  if (!std::exchange(transfer_->paused, false)) return;
  const CURLcode result = curl_easy_pause(easy_.get(), CURLPAUSE_CONT);
  if (result != CURLE_OK) stop(curl_easy_strerror(result));
}

void Exchange::discard_body() {
  transfer_->unwanted = true;
  buffer_.clear();
  resume();
}

void Exchange::end() {
  if (transfer_) curl_multi_remove_handle(multi_, easy_.get());
  transfer_.reset();
  trace_.reset();
  buffer_.clear();
}

IoError Exchange::fail(std::string_view cause) {
  IoError error = failure_of(transfer_->url, cause);
  if (trace_) trace_->failure(error.text);
  return error;
}

long Exchange::status() const {
  long code = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &code);
  return code;
}

std::uint64_t Exchange::sent_bytes() const {
  curl_off_t sent = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
  return static_cast<std::uint64_t>(sent);
}

std::int64_t Exchange::content_length() const {
  curl_off_t length = -1;
  if (transfer_->headers.count("Transfer-Encoding") == 0) {
    curl_easy_getinfo(easy_.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  }
  return length;
}

std::size_t Exchange::on_header(char* line, std::size_t, std::size_t size, void* self) try {
  auto& exchange = *static_cast<Exchange*>(self);
  Transfer& transfer = *exchange.transfer_;
  const std::string_view text(line, size);
  transfer.header_bytes += size;
  if (transfer.header_bytes > kMaxHeaderBytes) {
    transfer.cause = "the answer's headers are too large";
    return 0;
  }
  if (text.starts_with('\r') || text.starts_with('\n')) {
    // An interim answer (1xx) is followed by another one.
    transfer.answered = transfer.answered || exchange.status() >= 200;
  } else if (!transfer.answered) {  // and no trailer
    transfer.note_header(text);
  }
  return size;
} catch (const std::bad_alloc&) {
  return 0;  // fails the transfer: nothing may be thrown through libcurl
}

std::size_t Exchange::on_body(char* bytes, std::size_t, std::size_t size, void* self) {
  auto& exchange = *static_cast<Exchange*>(self);
  Transfer& transfer = *exchange.transfer_;
  if (!transfer.unwanted && !exchange.buffer_.append(bytes, size)) {
    transfer.paused = true;
    transfer.paused_since = std::chrono::steady_clock::now();
    return CURL_WRITEFUNC_PAUSE;
  }
  transfer.body_bytes += size;
  return size;
}

int Exchange::on_debug(CURL*, curl_infotype type, char* bytes, std::size_t size, void* self) try {
  auto& trace = static_cast<Exchange*>(self)->trace_;
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

int Exchange::on_connected(void* self, char*, char*, int, int) {
  static_cast<Exchange*>(self)->transfer_->connected = true;
  return CURL_PREREQFUNC_OK;
}

}  // namespace zendro::framework
