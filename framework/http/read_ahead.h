// Requests that are sent before their turn, and what they teach about the server: how many
// connections of this program it serves at once. A connection is on trial until it has answered;
// one that does not is not tried again. Used by one thread at a time. Internal to framework/.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "framework/http/exchange.h"
#include "framework/http/exchange_pool.h"

namespace zendro::framework {

class ReadAhead {
 public:
  /// The pool outlives this.
  explicit ReadAhead(ExchangePool& pool) : pool_(pool) {}

  /// What is likely to be asked for, in this order, instead of what was expected before.
  void expect(const std::vector<std::string>& urls);
  /// Sends what is expected next: 20 requests at most, and no more at a time than there are
  /// connections for beside that of the current exchange. Where that shares its connection
  /// (HTTP/2), 96 requests go over the same one. Answers that wait to be taken count among them, so
  /// that memory is bounded: a shared connection is not held back for one answer, so one that gets
  /// too long to be kept is given up and asked for again in its turn. When a connection is lost, so
  /// is the first of its requests, and the others are sent again. Where that is often so, requests
  /// get connections of their own until others are expected.
  void send(const Exchange& current);
  /// The exchange that was begun for this URL; null where there is none, or none that serves as
  /// well as a new one. What was expected before it is given up.
  std::unique_ptr<Exchange> take(const std::string& url);

  /// Whether the server is known to leave connections unserved, so that no time is spent on waiting
  /// for a new one to be served.
  [[nodiscard]] bool is_limited() const { return limited_; }
  // What became of an exchange that take() returned. From this the number of connections is
  // learnt that the server serves at once.

  /// It was answered.
  void note_served(const Exchange& exchange);
  /// Its connection was closed without an answer.
  void note_refused();
  /// It was lost with a shared connection, or given up for its sake.
  void note_lost();
  /// The same request, sent later over another connection, was answered first. The exchange goes on
  /// unseen: an answer shows that the server is slow, but does serve so many connections.
  void note_overtaken(std::unique_ptr<Exchange> exchange);

  /// The connection of some exchange was closed after its answer.
  void note_closed();

 private:
  void forget();
  void send_lost_again();
  [[nodiscard]] bool is_shared(const Exchange& current) const;
  void look_at_suspect();
  [[nodiscard]] std::size_t connections() const;

  ExchangePool& pool_;
  std::deque<std::string> expected_;             ///< encoded URLs that are not sent yet
  std::deque<std::unique_ptr<Exchange>> ahead_;  ///< sent, but not taken yet, in their order
  std::size_t taken_ = 0;                        ///< of those that are expected
  std::size_t lost_ = 0;                         ///< of these, for sharing a connection
  bool has_lost_ = false;                        ///< one more of these since the last send()
  std::unique_ptr<Exchange> suspect_;            ///< overtaken; its answer may still come
  bool limited_ = false;                         ///< to as many connections as were served
  std::size_t served_ = 1;                       ///< connections; the first request had one
};

/// Whether the connection of an exchange has never answered.
bool is_on_trial(const Exchange& exchange);
/// Whether an answer that came ahead of its turn is good, or leads to one.
bool is_of_use(const Exchange& exchange);

}  // namespace zendro::framework
