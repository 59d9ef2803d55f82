// HTTP(S) transport (RFC 9110) of the program: one transport per operation, so that its requests
// share connections; TLS sessions are shared by all of the process. Used by one thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/io/io.h"

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

/// The status of an answer without a body: the condition of the request is not met.
inline constexpr long kNotModified = 304;

struct HttpRequest {
  std::string url;
  std::vector<std::pair<std::string, std::string>> headers;  ///< extra request headers
  /// Whether its headers have a condition (RFC 9110, section 13), and kNotModified is an answer.
  bool is_conditional = false;
  /// Bytes of the body that are taken; an answer that has or announces more fails.
  std::uint64_t size_limit = std::uint64_t{4} << 30;
  std::shared_ptr<IOImpl_base> trace_log;  ///< what the trace is appended to; null: no trace
  int trace_level = kTraceHeaders;
  bool any_status = false;  ///< an answer with another status than 200 is no failure
  /// Whether many requests to the same server are likely to follow. HTTP/2 is offered then, whose
  /// connection costs more bytes, but carries many requests side by side.
  bool many_follow = false;
};

/// The answer to a GET: a stream of the body and its headers. Valid until the transport opens the
/// next request or is destroyed.
class HttpResponse : public IOImpl_base {
 public:
  [[nodiscard]] virtual const HttpHeaders& headers() const = 0;
  /// 200, kNotModified for a conditional request, or any where that was asked for.
  [[nodiscard]] virtual long status() const = 0;
};

/// An answer, never null.
using HttpAnswer = Result<std::shared_ptr<HttpResponse>>;

/// Why a body was not sent.
struct NotSent {
  IoError cause;
  bool was_connected = false;  ///< else there was no connection, or the URL is not an http(s) one
};
using PostResult = tl::expected<void, NotSent>;

class HttpTransport {
 public:
  virtual ~HttpTransport() = default;

  /// GETs a URL and returns its answer once the headers have arrived with status 200; any other
  /// status is a failure, unless the request takes it. Redirects are followed (10 at most, http or
  /// https only, never from https to http). The body is read from the answer as it arrives, in
  /// constant memory.
  virtual HttpAnswer get(const HttpRequest& request) = 0;

  /// POSTs `body`. Waits 2 s at most after it is sent, for the answer, whose status does not
  /// matter, and for sending the body again where a redirect (status 307 or 308) leads.
  virtual PostResult post(const HttpRequest& request, std::string_view body) = 0;

  /// Tells which plain GETs (no further headers, no trace) are likely to follow, in this order. It
  /// replaces what was told before and sends nothing. From the next get() on the transport may send
  /// some of these requests before they are asked for, over a limited number of connections, or one
  /// that they share, and into limited memory. This changes only how long get() takes, not what it
  /// returns: where an early answer is cut short, is an error, or does not begin to arrive, get()
  /// sends the request once more.
  virtual void expect(const std::vector<std::string>& urls) { static_cast<void>(urls); }
};

/// What requests to an object store are signed with (AWS Signature Version 4).
struct AwsKey {
  std::string id;
  std::string secret;
  std::string region;
};

struct TransportSettings {
  std::filesystem::path ca_file;  ///< trusted certificates; empty: the system's trust store
  std::chrono::seconds connect_timeout{30};
  // Two rules end what is too slow. A transfer fails that moves less than stall_speed for
  // stall_time. A request with all its redirects fails whose average speed, not counting its first
  // grace_time, is below lowest_speed. Both count only the time in which the peer is waited for,
  // and only the bytes of bodies and of the headers before them, as a server could send the frames
  // around these for ever.
  std::chrono::seconds stall_time{60};
  long stall_speed = 100;  ///< bytes per second
  std::chrono::seconds grace_time{300};
  /// Bytes per second of all transfers together, as they share a line. Mobile contracts slow down
  /// to 32 kbit/s when their volume is used up, and nothing slower is sold; this is half of that.
  long lowest_speed = 2048;
};

/// The transport over libcurl: verifies TLS always and honours the usual proxy variables, without
/// any the proxy of the system's settings. Where a proxy asks for a password, the error says how to
/// set it.
std::unique_ptr<HttpTransport> make_http_transport(const TransportSettings& settings = {});

}  // namespace zendro::framework
