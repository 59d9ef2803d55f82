#include "framework/http/read_ahead.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "framework/http/redirect.h"
#include "framework/url/http_url.h"

namespace zendro::framework {
namespace {

using std::chrono::steady_clock;

/// How many requests are sent before they are asked for.
constexpr std::size_t kReadAhead = 20;
/// The same over a connection that they share. Servers should allow 100 (RFC 9113, section 6.5.2).
constexpr std::size_t kSharedAhead = 96;
/// One of so many answers may have to be asked for again: that costs a round trip, as much as is
/// saved by sharing a connection for so many.
constexpr std::size_t kFewLost = 25;
/// How long any server keeps a connection open on which nobody reads.
constexpr std::chrono::seconds kUnreadConnectionLife{5};

/// Whether the server has had to wait for its bytes to be read, and may have given up.
bool was_kept_waiting(const Transfer& transfer, steady_clock::time_point moved_on) {
  if (transfer.over) return false;
  const auto now = steady_clock::now();
  return now - moved_on > kUnreadConnectionLife ||
         (transfer.paused && now - transfer.paused_since > kUnreadConnectionLife);
}

bool is_on_its_way(const std::unique_ptr<Exchange>& exchange) { return !exchange->transfer().over; }

bool has_proved_connection(const Exchange& exchange) {
  return exchange.transfer().answered && !exchange.reuses_connection();
}

bool has_connection(const Exchange& exchange) {
  return !exchange.transfer().over || exchange.keeps_connection();
}

}  // namespace

bool is_on_trial(const Exchange& exchange) {
  return !exchange.transfer().answered && !exchange.reuses_connection();
}

bool is_of_use(const Exchange& exchange) {
  const Transfer& transfer = exchange.transfer();
  return transfer.answered && transfer.cause.empty() &&
         (exchange.status() == 200 || leads_elsewhere(exchange.status(), false));
}

void ReadAhead::expect(const std::vector<std::string>& urls) {
  forget();
  expected_.clear();
  taken_ = lost_ = 0;
  has_lost_ = false;
  for (const std::string& url : urls) {
    RequestUrl encoded = http_request_url(url);
    if (!encoded) break;
    expected_.push_back(std::move(*encoded));
  }
}

void ReadAhead::forget() {
  for (std::unique_ptr<Exchange>& exchange : ahead_) pool_.put_back(std::move(exchange));
  ahead_.clear();
}

void ReadAhead::send(const Exchange& current) {
  look_at_suspect();
  // The connection of the current exchange may be what the next one needs.
  if (!ahead_.empty() && is_on_trial(*ahead_.front())) return;
  const bool shared = is_shared(current);
  if (std::exchange(has_lost_, false) && shared) send_lost_again();
  const std::size_t most = shared ? kSharedAhead : kReadAhead;
  const std::size_t limit = shared ? most : connections();
  auto busy = static_cast<std::size_t>(std::count_if(ahead_.begin(), ahead_.end(), is_on_its_way));
  if (!current.transfer().over) ++busy;
  for (; !expected_.empty() && ahead_.size() < most && busy < limit; ++busy) {
    std::unique_ptr<Exchange> exchange = pool_.take();
    exchange->prepare(expected_.front());
    expected_.pop_front();
    pool_.start(*exchange, {}, {.offers_http2 = shared, .is_ahead = true});
    ahead_.push_back(std::move(exchange));
  }
}

/// What was lost with one connection goes over that of the current exchange.
void ReadAhead::send_lost_again() {
  for (const std::unique_ptr<Exchange>& exchange : ahead_) {
    const Transfer& transfer = exchange->transfer();
    if (!transfer.is_lost || transfer.answered) continue;
    exchange->prepare(std::string(transfer.url));
    pool_.start(*exchange, {}, {.offers_http2 = true, .is_ahead = true});
  }
}

/// Whether what is sent ahead goes over the connection of the current exchange.
bool ReadAhead::is_shared(const Exchange& current) const {
  return current.transfer().is_shared && lost_ <= 1 + taken_ / kFewLost;
}

/// The most connections that may be used at once.
std::size_t ReadAhead::connections() const {
  if (!limited_) return kReadAhead + 1;
  const auto proved = std::count_if(ahead_.begin(), ahead_.end(), [](const auto& exchange) {
    return has_proved_connection(*exchange) && has_connection(*exchange);
  });
  return served_ + static_cast<std::size_t>(proved);
}

std::unique_ptr<Exchange> ReadAhead::take(const std::string& url) {
  const auto found = std::find_if(ahead_.begin(), ahead_.end(), [&url](const auto& exchange) {
    return exchange->transfer().url == url;
  });
  if (found == ahead_.end()) {
    const auto expected = std::find(expected_.begin(), expected_.end(), url);
    if (expected != expected_.end()) {
      forget();
      expected_.erase(expected_.begin(), std::next(expected));
    }
    return nullptr;
  }
  // Those before it were expected earlier and are not asked for any more.
  for (auto before = ahead_.begin(); before != found; ++before) pool_.put_back(std::move(*before));
  std::unique_ptr<Exchange> exchange = std::move(*found);
  ahead_.erase(ahead_.begin(), std::next(found));
  ++taken_;
  exchange->transfer().is_ahead = false;
  if (!was_kept_waiting(exchange->transfer(), pool_.moved_on())) return exchange;
  pool_.put_back(std::move(exchange));
  return nullptr;
}

void ReadAhead::note_served(const Exchange& exchange) {
  if (has_proved_connection(exchange) && served_ <= kReadAhead) ++served_;
}

void ReadAhead::note_lost() {
  ++lost_;
  has_lost_ = true;
}

void ReadAhead::note_refused() { limited_ = true; }

void ReadAhead::note_overtaken(std::unique_ptr<Exchange> exchange) {
  limited_ = true;
  if (suspect_) return pool_.put_back(std::move(exchange));
  suspect_ = std::move(exchange);
  suspect_->discard_body();
}

void ReadAhead::look_at_suspect() {
  if (!suspect_ || !(suspect_->transfer().answered || suspect_->transfer().over)) return;
  if (suspect_->transfer().answered) limited_ = false;
  pool_.put_back_later(std::move(suspect_));
}

void ReadAhead::note_closed() {
  if (served_ > 1) --served_;
}

}  // namespace zendro::framework
