// A small HTTP(S) server on 127.0.0.1 that stands in for a package store: it serves byte strings
// and files by path, remembers what it was asked, and commits on demand the faults that a client
// has to survive. Answers on threads of its own; all members may be called from any thread, also
// while it serves. Its destructor breaks off whatever still runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/http/http.h"
#include "tests/loopback/loopback_reply.h"
#include "tests/loopback/self_signed.h"

namespace zendro::loopback {

/// A request as it arrived.
struct ServedRequest {
  std::string method;
  std::string path;  ///< with its query, percent-encoded as it was sent
  framework::HttpHeaders headers;
  std::string body;
};

/// What befalls connections beyond those that are served at once.
enum class Surplus {
  waits,   ///< accepted, but nobody reads them until one that is served has closed
  closed,  ///< closed at once
};

class LoopbackServer {
 public:
  /// Listens on 127.0.0.1; port 0 picks a free one. With an identity it speaks TLS only. Throws
  /// std::runtime_error where the port cannot be had.
  explicit LoopbackServer(std::uint16_t port = 0, const std::optional<TlsIdentity>& identity = {});
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  /// "http://127.0.0.1:<port>/", or with TLS, as certificates are for names,
  /// "https://localhost:<port>/", with `path` appended, which has no slash in front.
  [[nodiscard]] std::string url(std::string_view path = {}) const;

  /// Answers requests for `path` ("/a/b%20c.zip", without a query) with `reply` from now on. A path
  /// that is not served answers with 404, a request with the value of the reply's ETag or
  /// Last-Modified as its condition with 304.
  void serve(const std::string& path, Reply reply);
  /// Commits `fault` on requests for `path`, which need not be served, from now on.
  void set_fault(const std::string& path, Fault fault);
  void clear_faults();
  /// Serves this many connections at once, 1 at least, from now on; without a call any number.
  void limit_connections(std::size_t served_at_once, Surplus surplus = Surplus::waits);

  /// Calls `observer` after every request has been read, on the thread that answers it.
  void observe(std::function<void(const ServedRequest&)> observer);
  /// The requests so far, in the order in which they were read.
  [[nodiscard]] std::vector<ServedRequest> requests() const;
  /// Counts from here on: the requests so far are gone.
  void forget_requests();
  /// How many of them were for `path`, whatever their query.
  [[nodiscard]] std::size_t request_count(std::string_view path) const;
  /// The number of connections accepted so far. Those that wait are not among them, but for the
  /// first.
  [[nodiscard]] std::size_t connections() const;
  /// How many of them went on with a TLS session of an earlier one.
  [[nodiscard]] std::size_t resumed_sessions() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zendro::loopback
