// Moves the transfers of a transport on until the current one has come as far as it is needed, and
// gives that up where it is too slow. Used by one thread at a time. Internal to framework/.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "framework/http/exchange.h"
#include "framework/http/exchange_pool.h"

namespace zendro::framework {

/// Why a request is given up, which has had `spent` and in that time moved so many bytes of
/// content, those of other requests beside it included; empty: it is not.
std::string why_too_slow(const TransportSettings& settings, const StallClock& stall,
                         std::chrono::nanoseconds spent, std::uint64_t moved);

class TransferDriver {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr Clock::time_point kNever = Clock::time_point::max();

  /// The pool outlives this.
  explicit TransferDriver(ExchangePool& pool) : pool_(pool) {}

  /// Counts time and bytes from here on, for a request and all its redirects.
  void begin_request();
  /// Moves all transfers on until there is `enough` of the current one, or it is over, or it is
  /// `until`.
  void drive(Exchange& current, const std::function<bool()>& enough,
             Clock::time_point until = kNever);
  /// Reads and drops the rest of a short body, which keeps the connection for the next request. A
  /// longer one is given up; so is one that takes longer than 0.5 s or until `latest`.
  void drain(Exchange& current, Clock::time_point latest = kNever);

 private:
  void charge(Exchange& current, Clock::duration time);

  ExchangePool& pool_;
  Clock::duration spent_{0};           ///< on the current request and its redirects
  std::uint64_t received_before_ = 0;  ///< by all transfers, before the current request
};

}  // namespace zendro::framework
