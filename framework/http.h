// HTTP(S) transport (RFC 9110) of the program: one transport per operation, so that its requests
// share connections and TLS sessions. Used by one thread at a time.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/io.h"

namespace zendro::framework {

/// Orders header names without regard to ASCII case (RFC 9110, section 5.1).
struct HeaderNameLess {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const;
};
using HttpHeaders = std::map<std::string, std::string, HeaderNameLess>;

/// How much of a request the trace log shows.
inline constexpr int kTraceStatusOnly = 0;  ///< request line and status line
inline constexpr int kTraceHeaders = 3;     ///< all headers and the transport's remarks
inline constexpr int kTraceEverything = 7;  ///< also the size of every block of data

struct HttpRequest {
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;  ///< extra request headers
  std::filesystem::path trace_log;  ///< file that the trace is appended to; empty: no trace
  int trace_level = kTraceHeaders;
};

/// The answer to a GET: a stream of the body and its headers. Valid until the transport opens the
/// next request or is destroyed.
class HttpResponse : public IOImpl_base {
 public:
  [[nodiscard]] virtual const HttpHeaders& headers() const = 0;
};

/// How far the sending of a body came.
enum class SendOutcome {
  sent,        ///< the body was sent and answered with a 2xx status
  not_opened,  ///< no connection, or not an http(s) URL
  not_sent,    ///< connected, but the body could not be sent or was not accepted
};

class HttpTransport {
 public:
  virtual ~HttpTransport() = default;

  /// GETs a URL and returns its answer once the headers have arrived with status 200; null, with
  /// the cause in `error`, otherwise. Redirects are followed (10 at most, http or https only,
  /// never from https to http). The body is read from the answer as it arrives, in constant memory.
  virtual std::shared_ptr<HttpResponse> get(const HttpRequest& request, IoError& error) = 0;

  /// POSTs `body`; the answer's body is not read. `error` has the cause unless the outcome is sent.
  virtual SendOutcome post(const HttpRequest& request, std::string_view body, IoError& error) = 0;

  /// Tells which plain GETs (no further headers, no trace) are likely to follow, in this order,
  /// instead of what was expected before. After the next answer the transport may send some of them
  /// ahead of their turn, over a bounded number of connections and into bounded memory. What get()
  /// returns stays what it would be without: an answer that was cut short or refused meanwhile is
  /// asked for once more in its turn. Does nothing by itself.
  virtual void expect(const std::vector<std::string>& urls) { static_cast<void>(urls); }
};

struct TransportSettings {
  std::filesystem::path ca_file;  ///< trusted certificates; empty: the system's trust store
  std::chrono::seconds connect_timeout{30};
  std::chrono::seconds stall_time{60};  ///< a transfer slower than stall_speed for this long fails
  long stall_speed = 100;               ///< bytes per second
};

/// The transport over libcurl: verifies TLS always and honours the usual proxy variables, without
/// any the proxy of the system's settings.
std::unique_ptr<HttpTransport> make_http_transport(const TransportSettings& settings = {});

/// Resolves a relative reference against a base URL (RFC 3986, section 5); characters that a URL
/// may not hold are percent-encoded first. Empty where the result would not be a URL, or where
/// either is longer than 64 KiB.
std::string resolve_url(std::string_view base, std::string_view reference);

}  // namespace zendro::framework
