// A small HTTP/1.1 server (RFC 9110, RFC 9112) for trying a published tree out.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>

#include "framework/io/io.h"

#include "store/serve/static_tree.h"

namespace zendro::store {

class TreeServer {
 public:
  /// Told of every answer, on the thread that serves.
  using Log = std::function<void(const TreeRequest&, unsigned status)>;

  /// Listens on "host:port", "host" or "[IPv6]:port"; without a port, and with port 0, on a free
  /// one. Fails where that cannot be had.
  static framework::Result<std::unique_ptr<TreeServer>> listen(std::string_view address,
                                                               const StaticTree& tree, Log log);
  virtual ~TreeServer() = default;

  /// "http://127.0.0.1:8080/": where it listens.
  [[nodiscard]] virtual std::string url() const = 0;
  /// Serves, on this thread, until it is to stop.
  virtual void run(const std::stop_token& stop) = 0;
};

}  // namespace zendro::store
