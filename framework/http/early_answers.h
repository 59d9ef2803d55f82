// Takes the answers to requests that were sent before their turn, and decides how long each is
// worth a wait. Used by one thread at a time. Internal to framework/.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "framework/http/exchange.h"
#include "framework/http/exchange_pool.h"
#include "framework/http/read_ahead.h"
#include "framework/http/transfer_driver.h"

namespace zendro::framework {

class EarlyAnswers {
 public:
  /// Both outlive this.
  EarlyAnswers(ExchangePool& pool, TransferDriver& driver)
      : pool_(pool), driver_(driver), ahead_(pool) {}

  /// See HttpTransport::expect().
  void expect(const std::vector<std::string>& urls) { ahead_.expect(urls); }
  /// Sends what is expected next, beside the current exchange.
  void send_next(const Exchange& current) { ahead_.send(current); }
  /// Waits for the answer to the request that was sent ahead to this URL: an exchange with a good
  /// one, or with one that a repeated request brought or failed to bring. Null where the request is
  /// still to be sent in its turn.
  std::unique_ptr<Exchange> take(const std::string& url);

  /// Takes note of how long the answer took to a request that was sent in its turn.
  void note_answer(const Exchange& exchange, std::chrono::steady_clock::duration time);
  /// Takes note of the state of the connection of an exchange that is about to be ended.
  void note_end(const Exchange& exchange);

 private:
  bool is_worth_waiting(Exchange& on_trial);
  std::unique_ptr<Exchange> repeat(std::unique_ptr<Exchange> early);

  ExchangePool& pool_;
  TransferDriver& driver_;
  ReadAhead ahead_;
  bool kept_ = false;  ///< the last exchange has left a connection that is known to work
  // Of the last request that was sent in its turn.
  std::chrono::steady_clock::duration answer_time_{0};   ///< once it was sent
  std::chrono::steady_clock::duration connect_time_{0};  ///< of the last one that had to connect
};

}  // namespace zendro::framework
