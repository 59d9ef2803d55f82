// One HTTP request at a time over a handle of libcurl, and the answer as far as it has come. Moved
// on by the transport that it belongs to, on its thread. Internal to framework/.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <curl/curl.h>

#include "framework/http/http.h"
#include "framework/http/proxy_choice.h"
#include "framework/http/trace.h"
#include "framework/http/transfer.h"

namespace zendro::framework {

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
  /// Throws std::bad_alloc.
  void add(const std::string& line);
  [[nodiscard]] curl_slist* get() const { return list_.get(); }

 private:
  std::unique_ptr<curl_slist, CurlFree> list_;
};

/// Whether a name or value holds a character that could end the header's line and begin another.
bool have_control_characters(const std::vector<std::pair<std::string, std::string>>& headers);

/// The body of a PUT, read from front to back.
struct Upload {
  IOImpl_base& source;  ///< at its beginning; seekable
  std::uint64_t size;
};

/// How a request is sent.
struct SendOptions {
  const std::string_view* body = nullptr;  ///< of a POST; null: a GET
  const Upload* upload = nullptr;          ///< of a PUT, which outlives the request
  bool is_head = false;                    ///< a HEAD
  const AwsKey* key = nullptr;             ///< that the request is signed with
  bool with_credentials = true;            ///< else headers that carry some are left out
  bool offers_http2 = false;               ///< where there is TLS
  bool is_ahead = false;                   ///< nobody reads the answer yet
  ProxyChoice proxy = {};
};

class Exchange {
 public:
  /// What they refer to outlives the exchange, which adds to `content` what it receives. Throws
  /// std::bad_alloc.
  Exchange(CURLM* multi, CURLSH* sessions, const TransportSettings& settings,
           const std::string& ca_certificates, std::uint64_t& content);
  ~Exchange() { end(); }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  /// The exchange of a handle that libcurl tells of.
  static Exchange& of(CURL* easy);

  /// Traces what follows until the end.
  void trace_to(std::shared_ptr<IOImpl_base> file, int level) {
    trace_.emplace(std::move(file), level);
  }
  /// Begins a request to `url`, of which nothing is sent before start().
  void prepare(const std::string& url) { transfer_.emplace(url, settings_); }
  /// Sends the request to the URL of prepare(); the transfer is over where that cannot be begun.
  void start(const HttpRequest& request, const SendOptions& options);
  /// Takes note of what libcurl tells at the end of a transfer.
  void finished(CURLcode result);
  /// Breaks the transfer off, and its connection with it.
  void stop(std::string_view cause);
  /// Takes what libcurl held back while the buffer was full.
  void resume();
  /// Throws away what is left of the body, and what arrives of it; a long one is broken off.
  void discard_body();
  /// Forgets the request.
  void end();

  [[nodiscard]] bool has_request() const { return transfer_.has_value(); }
  /// The current request. Only where has_request() is true, which it is from prepare() to end().
  [[nodiscard]] Transfer& transfer() { return *transfer_; }
  [[nodiscard]] const Transfer& transfer() const { return *transfer_; }
  [[nodiscard]] BodyBuffer& body() { return buffer_; }
  /// The status of the answer; 0 before.
  [[nodiscard]] long status() const;
  [[nodiscard]] std::uint64_t sent_bytes() const;
  /// What the answer says about its length; -1 where it says nothing.
  [[nodiscard]] std::int64_t content_length() const;
  /// Whether the request went, or goes, over a connection that has served another one.
  [[nodiscard]] bool reuses_connection() const;
  /// How long it took until the request could be sent: to open a connection, with TLS, where there
  /// was none.
  [[nodiscard]] std::chrono::microseconds connect_time() const;
  /// Whether the transfer is over and has left its connection for another one.
  [[nodiscard]] bool keeps_connection() const;
  /// The failure of the request for this cause, which the trace takes note of.
  IoError fail(std::string_view cause);

 private:
  [[nodiscard]] bool is_refused_by_proxy() const;
  [[nodiscard]] std::string_view cause_of(CURLcode result) const;
  [[nodiscard]] bool shares_connection() const;
  bool may_wait(std::int64_t size);
  bool keep(const char* bytes, std::size_t size);
  void count_received(std::size_t bytes);
  static std::size_t on_header(char* line, std::size_t one, std::size_t size, void* self);
  static std::size_t on_body(char* bytes, std::size_t one, std::size_t size, void* self);
  static std::size_t on_upload(char* bytes, std::size_t one, std::size_t size, void* upload);
  static int on_seek(void* upload, curl_off_t offset, int origin);
  static int on_debug(CURL* easy, curl_infotype type, char* bytes, std::size_t size, void* self);
  static int on_connected(void* self, char* ip, char* local_ip, int port, int local_port);

  CURLM* multi_;
  CURLSH* sessions_;
  const TransportSettings& settings_;
  const std::string& ca_certificates_;
  std::uint64_t& content_;
  ProxyChoice proxy_;
  HeaderList headers_;
  std::array<char, CURL_ERROR_SIZE> curl_error_{};
  std::optional<HttpTrace> trace_;
  std::optional<Transfer> transfer_;
  BodyBuffer buffer_;
  std::unique_ptr<CURL, CurlFree> easy_;  // the last one, as ending it may still call back
};

}  // namespace zendro::framework
