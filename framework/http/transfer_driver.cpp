#include "framework/http/transfer_driver.h"

#include <algorithm>
#include <string>
#include <utility>

namespace zendro::framework {
namespace {

/// How long the rest of an unwanted body is waited for.
constexpr std::chrono::milliseconds kDrainTime{500};
/// The longest wait between two looks at the clock.
constexpr std::chrono::milliseconds kPollTime{100};

}  // namespace

void TransferDriver::begin_request() {
  spent_ = {};
  received_before_ = pool_.received();
}

void TransferDriver::drive(Exchange& current, const std::function<bool()>& enough,
                           Clock::time_point until) {
  const Transfer& transfer = current.transfer();
  auto begin = Clock::now();
  while (!enough() && !transfer.over) {
    CURLMcode code = pool_.move_on();
    if (!enough() && !transfer.over && code == CURLM_OK) {
      const auto now = Clock::now();
      if (now >= until) return;
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now);
      code = pool_.wait(std::min(left, kPollTime));
    }
    if (code != CURLM_OK) return current.stop(curl_multi_strerror(code));
    const auto end = Clock::now();
    charge(current, end - std::exchange(begin, end));
  }
}

void TransferDriver::drain(Exchange& current, Clock::time_point latest) {
  current.discard_body();
  drive(
      current, [] { return false; }, std::min(latest, Clock::now() + kDrainTime));
}

/// Takes note of time that went into the current request, and gives that up where it is too slow.
void TransferDriver::charge(Exchange& current, Clock::duration time) {
  using std::to_string;
  const TransportSettings& settings = pool_.settings();
  Transfer& transfer = current.transfer();
  const std::uint64_t sent = current.sent_bytes();
  const std::uint64_t moved = pool_.received() - received_before_ + sent;
  spent_ += time;
  if (transfer.over) return;
  if (transfer.connected) transfer.stall.add(time, transfer.content + sent);
  if (transfer.stall.stalled()) {
    current.stop("slower than " + to_string(settings.stall_speed) + " bytes/s for " +
                 to_string(settings.stall_time.count()) + " s");
  } else if (least_bytes() > static_cast<std::int64_t>(moved)) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(spent_);
    current.stop("slower than " + to_string(settings.lowest_speed) + " bytes/s on average for " +
                 to_string(seconds.count()) + " s");
  }
}

/// What the request must have moved by now.
std::int64_t TransferDriver::least_bytes() const {
  const TransportSettings& settings = pool_.settings();
  const auto late = std::chrono::floor<std::chrono::seconds>(spent_ - settings.grace_time);
  return late.count() * settings.lowest_speed;
}

}  // namespace zendro::framework
