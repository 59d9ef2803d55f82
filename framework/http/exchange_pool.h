// The exchanges of one transport, which share connections, and TLS sessions with all others, and
// what moves all of them on. Used by one thread at a time. Internal to framework/.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <curl/curl.h>

#include "framework/http/exchange.h"
#include "framework/http/http.h"
#include "framework/http/system_proxy.h"

namespace zendro::framework {

class ExchangePool {
 public:
  /// Throws std::bad_alloc.
  explicit ExchangePool(const TransportSettings& settings);
  ExchangePool(const ExchangePool&) = delete;
  ExchangePool& operator=(const ExchangePool&) = delete;

  [[nodiscard]] const TransportSettings& settings() const { return settings_; }
  /// Why there are no trusted certificates; empty where there are.
  [[nodiscard]] const IoError& ca_error() const { return ca_error_; }

  /// An exchange without a request. It is destroyed, or put back, before the pool is destroyed.
  std::unique_ptr<Exchange> take();
  /// Ends an exchange for use by others. Its connection is closed where the answer has not arrived.
  void put_back(std::unique_ptr<Exchange> exchange);
  /// The same once the answer has arrived, where that is a short one, so that its connection stays
  /// open for other requests.
  void put_back_later(std::unique_ptr<Exchange> exchange);

  /// Sends the request to the URL that the exchange is prepared for, over the proxy of that URL.
  void start(Exchange& exchange, const HttpRequest& request = {}, SendOptions options = {});
  /// Moves all transfers on as far as they go without waiting.
  CURLMcode move_on();
  /// Waits until one of them can go on, or for so long.
  CURLMcode wait(std::chrono::milliseconds time);
  /// Bytes of content that all of them have received so far.
  [[nodiscard]] std::uint64_t received() const { return received_; }
  /// When they were last moved on.
  [[nodiscard]] std::chrono::steady_clock::time_point moved_on() const { return moved_on_; }

 private:
  TransportSettings settings_;
  std::string ca_certificates_;
  IoError ca_error_;
  const std::unique_ptr<SystemProxy> system_proxy_ = make_system_proxy();
  std::chrono::steady_clock::time_point moved_on_;
  std::uint64_t received_ = 0;
  // The last members: exchanges leave the multi handle, and their connections the sessions.
  std::shared_ptr<CURLSH> sessions_;
  std::unique_ptr<CURLM, CurlMultiFree> multi_;
  std::vector<std::unique_ptr<Exchange>> spare_;
  std::vector<std::unique_ptr<Exchange>> later_;  ///< become spare once they are over
};

}  // namespace zendro::framework
