// One HTTP request at a time over a handle of libcurl, and the answer as far as it has come. Moved
// on by the transport that it belongs to, on its thread. Internal to framework/.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include "framework/http.h"
#include "framework/http_trace.h"
#include "framework/http_transfer.h"

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

/// How a request is sent.
struct SendOptions {
  const std::string_view* body = nullptr;  ///< of a POST; null: a GET
  bool with_credentials = true;            ///< else headers that carry some are left out
  std::string proxy = {};                  ///< empty: that of the environment
};

class Exchange {
 public:
  /// What they refer to outlives the exchange. Throws std::bad_alloc.
  Exchange(CURLM* multi, const TransportSettings& settings, const std::string& ca_certificates);
  ~Exchange() { end(); }
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  /// The exchange of a handle that libcurl tells of.
  static Exchange& of(CURL* easy);

  /// Traces what follows until the end.
  void trace_to(const std::filesystem::path& file, int level) { trace_.emplace(file, level); }
  /// Makes `url` what the exchange is about, without sending anything.
  void aim(const std::string& url) { transfer_.emplace(url, settings_); }
  /// Sends the request to the URL aimed at; the transfer is over where that cannot be begun.
  void start(const HttpRequest& request, const SendOptions& options);
  /// Takes note of what libcurl tells at the end of a transfer.
  void finished(CURLcode result);
  /// Breaks the transfer off, and its connection with it.
  void stop(std::string_view cause);
  /// Takes what libcurl held back while the buffer was full.
  void resume();
  /// Throws away what is left of the body, and what arrives of it.
  void discard_body();
  /// Forgets the request.
  void end();

  [[nodiscard]] bool is_aimed() const { return transfer_.has_value(); }
  /// The current request; there is one from aim() to end().
  [[nodiscard]] Transfer& transfer() { return *transfer_; }
  [[nodiscard]] const Transfer& transfer() const { return *transfer_; }
  [[nodiscard]] BodyBuffer& body() { return buffer_; }
  /// The status of the answer; 0 before.
  [[nodiscard]] long status() const;
  [[nodiscard]] std::uint64_t sent_bytes() const;
  /// What the answer says about its length; -1 where it says nothing.
  [[nodiscard]] std::int64_t content_length() const;
  /// The failure of the request for this cause, which the trace takes note of.
  IoError fail(std::string_view cause);

 private:
  static std::size_t on_header(char* line, std::size_t one, std::size_t size, void* self);
  static std::size_t on_body(char* bytes, std::size_t one, std::size_t size, void* self);
  static int on_debug(CURL* easy, curl_infotype type, char* bytes, std::size_t size, void* self);
  static int on_connected(void* self, char* ip, char* local_ip, int port, int local_port);

  CURLM* multi_;
  const TransportSettings& settings_;
  const std::string& ca_certificates_;
  HeaderList headers_;
  std::array<char, CURL_ERROR_SIZE> curl_error_{};
  std::optional<HttpTrace> trace_;
  std::optional<Transfer> transfer_;
  BodyBuffer buffer_;
  std::unique_ptr<CURL, CurlFree> easy_;  // the last one, as ending it may still call back
};

}  // namespace zendro::framework
