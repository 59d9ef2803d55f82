#include "framework/http/exchange.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

#include "framework/text/ascii.h"
#include "framework/text/version.h"

namespace zendro::framework {
namespace {

using std::chrono::milliseconds;

/// What an unwanted body may cost, for the sake of keeping its connection.
constexpr std::size_t kDiscardedBytes = 64 * 1024;
/// Uploads from this length on wait for the server to agree.
constexpr std::uint64_t kWorthAsking = 1 << 20;
/// Of an answer that shares its connection, as long as nobody reads it.
constexpr std::int64_t kMostAhead = 128 * 1024;
constexpr long kProxyAuthenticationRequired = 407;

/// Whether the system's trusted certificates are in one file. What is there beside it, in a folder,
/// is the same; libcurl reads the file once for all connections only where it is told of no folder,
/// and that takes longer than a handshake.
bool has_system_bundle() {
  static const bool has_it = [] {
    const curl_version_info_data* library = curl_version_info(CURLVERSION_NOW);
    std::error_code error;
    return library->age >= CURLVERSION_SEVENTH && library->cainfo != nullptr &&
           std::filesystem::is_regular_file(library->cainfo, error);
  }();
  return has_it;
}

bool knows_http2() {
  static const bool knows_it =
      (curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_HTTP2) != 0;
  return knows_it;
}

/// Whether a transfer has failed for what became of its connection.
bool is_loss(CURLcode result) {
  switch (result) {
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_PARTIAL_FILE:  // also of a stream that has not begun
    case CURLE_FAILED_INIT:   // another transfer has seen its connection closed (libcurl 7.88)
      return true;
    default:
      return false;
  }
}

}  // namespace

bool have_control_characters(const std::vector<std::pair<std::string, std::string>>& headers) {
  const auto control = [](char c) { return (c >= 0 && c < 0x20 && c != '\t') || c == 0x7F; };
  return std::any_of(headers.begin(), headers.end(), [&](const auto& header) {
    return std::any_of(header.first.begin(), header.first.end(), control) ||
           std::any_of(header.second.begin(), header.second.end(), control);
  });
}

void HeaderList::add(const std::string& line) {
  curl_slist* longer = curl_slist_append(list_.get(), line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(list_.release());
  list_.reset(longer);
}

Exchange::Exchange(CURLM* multi, CURLSH* sessions, const TransportSettings& settings,
                   const std::string& ca_certificates, std::uint64_t& content)
    : multi_(multi),
      sessions_(sessions),
      settings_(settings),
      ca_certificates_(ca_certificates),
      content_(content) {}

Exchange& Exchange::of(CURL* easy) {
  char* self = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
  return *reinterpret_cast<Exchange*>(self);
}

void Exchange::start(const HttpRequest& request, const SendOptions& options) {
  if (easy_) curl_multi_remove_handle(multi_, easy_.get());
  // A handle that has been used may remember headers that are gone, and a folded line would be
  // added to them (libcurl before 8.1.1). Connections are the multi handle's, so nothing is lost.
  easy_.reset(curl_easy_init());
  CURL* easy = easy_.get();
  if (easy == nullptr) throw std::bad_alloc();
  const std::string_view* body = options.body;
  const bool offers_http2 = options.offers_http2 && knows_http2();
  transfer_->is_ahead = options.is_ahead;
  transfer_->is_shared = offers_http2 && options.is_ahead;
  proxy_ = options.proxy;
  buffer_.clear();
  curl_error_[0] = '\0';

  headers_ = {};
  bool has_type = false;
  for (const auto& [name, value] : request.headers) {
    if (!options.with_credentials && is_credential_header(name)) continue;
    headers_.add(value.empty() ? name + ";" : name + ": " + value);
    has_type |= equal_ignoring_case(name, "Content-Type");
  }

  bool accepted = true;
  const auto set = [&](CURLoption option, auto value) {
    accepted &= curl_easy_setopt(easy, option, value) == CURLE_OK;
  };
  set(CURLOPT_PRIVATE, static_cast<void*>(this));
  set(CURLOPT_SHARE, sessions_);
  set(CURLOPT_URL, transfer_->url.c_str());
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_HTTP_VERSION,
      static_cast<long>(offers_http2 ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1));
  const std::string user_agent = "Zendro-Package-Manager/" + std::string(program_version());
  set(CURLOPT_USERAGENT, user_agent.c_str());
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
  } else if (has_system_bundle()) {
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
  }
  // Where the system checks certificates, it asks whether they were revoked, as far as it can.
  set(CURLOPT_SSL_OPTIONS, static_cast<long>(CURLSSLOPT_REVOKE_BEST_EFFORT));
  if (proxy_.is_given_to_library) set(CURLOPT_PROXY, proxy_.url.c_str());
  if (proxy_.sign_on_methods != 0) {
    // Of several methods none is tried before the proxy asks for it; the bit counts as one.
    set(CURLOPT_PROXYAUTH, static_cast<long>(CURLAUTH_ONLY | proxy_.sign_on_methods));
    set(CURLOPT_PROXYUSERPWD, ":");
  }
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
  if (options.upload != nullptr) {
    set(CURLOPT_UPLOAD, 1L);
    set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(options.upload->size));
    set(CURLOPT_READFUNCTION, &Exchange::on_upload);
    set(CURLOPT_READDATA, const_cast<Upload*>(options.upload));
    set(CURLOPT_SEEKFUNCTION, &Exchange::on_seek);
    set(CURLOPT_SEEKDATA, const_cast<Upload*>(options.upload));
    // The server is asked whether it will take the upload. Many never say so; their answer is worth
    // waiting for only where much need not be sent. Not to ask is no choice: libcurl 7.88 signs the
    // header even where it is told to leave it out.
    if (options.upload->size < kWorthAsking) set(CURLOPT_EXPECT_100_TIMEOUT_MS, 1L);
  }
  if (options.is_head) set(CURLOPT_NOBODY, 1L);
  if (options.key != nullptr) {
    set(CURLOPT_AWS_SIGV4, ("aws:amz:" + options.key->region + ":s3").c_str());
    set(CURLOPT_USERNAME, options.key->id.c_str());
    set(CURLOPT_PASSWORD, options.key->secret.c_str());
  }
  set(CURLOPT_HTTPHEADER, headers_.get());

  const CURLMcode code = curl_multi_add_handle(multi_, easy);
  if (!accepted || code != CURLM_OK) {
    stop(accepted ? curl_multi_strerror(code) : "the HTTP library lacks a needed feature");
  }
}

void Exchange::finished(CURLcode result) {
  transfer_->over = true;
  transfer_->is_lost |= is_loss(result);
  if (result == CURLE_OK && status() == kProxyAuthenticationRequired) transfer_->answered = true;
  if (result != CURLE_OK && transfer_->cause.empty()) transfer_->cause = cause_of(result);
}

/// Says what happened where libcurl says what it means to itself.
std::string_view Exchange::cause_of(CURLcode result) const {
  const std::string_view text =
      curl_error_[0] != '\0' ? curl_error_.data() : curl_easy_strerror(result);
  if (!transfer_->answered && result == CURLE_OUT_OF_MEMORY) {
    return "a header line of the answer is longer than 100 KiB";
  }
  if (!transfer_->answered && result == CURLE_BAD_FUNCTION_ARGUMENT) {
    return "the first header line of the answer continues another one";
  }
  if (text == "Out of memory in chunked-encoding") {
    return "a trailer line of the answer is longer than 4 KiB";
  }
  return text;
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
  transfer_->unwanted_limit = transfer_->body_bytes + kDiscardedBytes;
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
  const bool needs_log_on = !proxy_.url.empty() && is_refused_by_proxy();
  std::string text(cause);
  if (needs_log_on) text += ": " + log_on_failure(proxy_);
  IoError error = failure_of(transfer_->url, text);
  if (trace_) trace_->failure(error.text);
  // What looks like a password in it is none.
  if (needs_log_on) error.text += log_on_advice(proxy_);
  return error;
}

bool Exchange::is_refused_by_proxy() const {
  if (!easy_) return false;
  long of_connect = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_HTTP_CONNECTCODE, &of_connect);
  return (transfer_->answered ? status() : of_connect) == kProxyAuthenticationRequired;
}

long Exchange::status() const {
  long code = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &code);
  return code;
}

bool Exchange::reuses_connection() const {
  long opened = 0;
  if (easy_) curl_easy_getinfo(easy_.get(), CURLINFO_NUM_CONNECTS, &opened);
  return transfer_->connected && opened == 0;
}

bool Exchange::shares_connection() const {
  long version = 0;
  curl_easy_getinfo(easy_.get(), CURLINFO_HTTP_VERSION, &version);
  return version >= CURL_HTTP_VERSION_2_0;
}

std::chrono::microseconds Exchange::connect_time() const {
  curl_off_t time = 0;
  if (easy_) curl_easy_getinfo(easy_.get(), CURLINFO_PRETRANSFER_TIME_T, &time);
  return std::chrono::microseconds(time);
}

bool Exchange::keeps_connection() const {
  // libcurl tells it as long as the connection is there to be used again.
  curl_socket_t socket = CURL_SOCKET_BAD;
  if (easy_) curl_easy_getinfo(easy_.get(), CURLINFO_ACTIVESOCKET, &socket);
  return transfer_->over && transfer_->cause.empty() && socket != CURL_SOCKET_BAD;
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
  if (!transfer.note_header(text)) return 0;
  if (transfer.answered) return size;  // a trailer
  exchange.count_received(size);
  if (text.starts_with('\r') || text.starts_with('\n')) {
    // An interim answer (1xx) is followed by another one; so is one that libcurl logs on after,
    // which it alone can tell.
    const long status = exchange.status();
    const bool may_be_followed = status < 200 || (status == kProxyAuthenticationRequired &&
                                                  exchange.proxy_.sign_on_methods != 0);
    transfer.answered = !may_be_followed;
    transfer.is_shared = exchange.shares_connection();
    if (!exchange.may_wait(exchange.content_length())) return 0;
  }
  return size;
} catch (const std::bad_alloc&) {
  return 0;  // fails the transfer: nothing may be thrown through libcurl
}

std::size_t Exchange::on_body(char* bytes, std::size_t, std::size_t size, void* self) {
  auto& exchange = *static_cast<Exchange*>(self);
  Transfer& transfer = *exchange.transfer_;
  transfer.answered = true;  // also where a proxy's answer might have been followed by another one
  if (transfer.unwanted && transfer.body_bytes > transfer.unwanted_limit) return 0;
  if (!transfer.unwanted && !exchange.keep(bytes, size)) {
    if (transfer.is_shared) return 0;
    transfer.paused = true;
    transfer.paused_since = std::chrono::steady_clock::now();
    return CURL_WRITEFUNC_PAUSE;
  }
  transfer.body_bytes += size;
  exchange.count_received(size);
  return size;
}

/// Whether so many more bytes of the body may wait to be read. An answer that shares its connection
/// is not held back: what is under way of it would pile up in the library (libcurl 7.88: 32 MiB).
/// So it is given up where it gets too long while nobody reads it.
bool Exchange::may_wait(std::int64_t size) {
  const auto waiting = static_cast<std::int64_t>(buffer_.size());
  const bool is_too_long =
      transfer_->is_shared && transfer_->is_ahead && waiting + size > kMostAhead;
  transfer_->is_lost |= is_too_long;
  return !is_too_long;
}

/// Keeps bytes of the body until they are read; false where there is no room for them.
bool Exchange::keep(const char* bytes, std::size_t size) try {
  if (!transfer_->is_shared) return buffer_.append(bytes, size);
  if (!may_wait(static_cast<std::int64_t>(size))) return false;
  buffer_.append_all(bytes, size);
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

void Exchange::count_received(std::size_t bytes) {
  transfer_->content += bytes;
  content_ += bytes;
}

std::size_t Exchange::on_upload(char* bytes, std::size_t, std::size_t size, void* upload) {
  const std::int64_t count = static_cast<Upload*>(upload)->source.read(bytes, size);
  return count < 0 ? CURL_READFUNC_ABORT : static_cast<std::size_t>(count);
}

// A connection that was closed while it waited makes libcurl begin again on another one.
int Exchange::on_seek(void* upload, curl_off_t offset, int origin) {
  IOImpl_base& source = static_cast<Upload*>(upload)->source;
  const bool done = origin == SEEK_SET && source.seek(offset, SeekOrigin::begin) == offset;
  return done ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
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
