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
  Transfer& transfer = current.transfer();
  const std::uint64_t sent = current.sent_bytes();
  spent_ += time;
  if (transfer.over) return;
  if (transfer.connected) transfer.stall.add(time, transfer.content + sent);
  const std::string cause = why_too_slow(pool_.settings(), transfer.stall, spent_,
                                         pool_.received() - received_before_ + sent);
  if (!cause.empty()) current.stop(cause);
}

std::string why_too_slow(const TransportSettings& settings, const StallClock& stall,
                         std::chrono::nanoseconds spent, std::uint64_t moved) {
  using std::to_string;
  using std::chrono::floor;
  using std::chrono::seconds;
  if (stall.stalled()) {
    return "slower than " + to_string(settings.stall_speed) + " bytes/s for " +
           to_string(settings.stall_time.count()) + " s";
  }
  const auto late = floor<seconds>(spent - settings.grace_time);
  if (late.count() * settings.lowest_speed <= static_cast<std::int64_t>(moved)) return {};
  return "slower than " + to_string(settings.lowest_speed) + " bytes/s on average for " +
         to_string(floor<seconds>(spent).count()) + " s";
}

}  // namespace zendro::framework
