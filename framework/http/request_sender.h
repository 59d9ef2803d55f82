// Sends the requests of a transport one after the other, each to where its redirects lead, until
// there is an answer to be judged. Used by one thread at a time. Internal to framework/.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/http/early_answers.h"
#include "framework/http/exchange.h"
#include "framework/http/exchange_pool.h"
#include "framework/http/http.h"
#include "framework/http/transfer_driver.h"

namespace zendro::framework {

/// What has come of a request.
struct SendResult {
  long status = 0;         ///< of the final answer; 0: there was none
  IoError error;           ///< why there was none
  bool connected = false;  ///< to the server of the request, or of a redirect
  /// How long an answer to the body of a POST is waited for; set once all of it is sent.
  std::optional<std::chrono::steady_clock::time_point> until;
};

class RequestSender {
 public:
  explicit RequestSender(const TransportSettings& settings) : pool_(settings) {}

  /// Sends a request, a POST where it has a `body`. Without an answer the request has ended. Else
  /// current() has the answer.
  SendResult send(const HttpRequest& request, const std::string_view* body);
  /// The exchange with the answer of the last request, until that ends.
  [[nodiscard]] Exchange& current() { return *current_; }
  /// Moves bytes of the answer's body to `out`, at least one of which there is room for: their
  /// count. Waits until there are some; 0: there will be none.
  std::size_t read_body(std::span<char> out);
  /// See TransferDriver::drain().
  void drain(std::chrono::steady_clock::time_point latest = TransferDriver::kNever);
  /// Ends the current request, if there is one.
  void end();

  /// See HttpTransport::expect().
  void expect(const std::vector<std::string>& urls) { early_.expect(urls); }
  /// Sends what is expected next, beside the current request.
  void read_ahead() { early_.send_next(*current_); }

 private:
  bool take_early(const std::string& url);
  std::string follow(const HttpRequest& request, const std::string_view* body, bool is_sent,
                     SendResult& result);
  void repeat_if_lost(const HttpRequest& request, SendOptions options, SendResult& result);
  void await_answer(const std::string_view* body, SendResult& result);

  ExchangePool pool_;
  TransferDriver driver_{pool_};
  EarlyAnswers early_{pool_, driver_};
  std::unique_ptr<Exchange> current_ = pool_.take();
};

}  // namespace zendro::framework
