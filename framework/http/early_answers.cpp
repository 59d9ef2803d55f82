#include "framework/http/early_answers.h"

#include <algorithm>
#include <utility>

namespace zendro::framework {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How long requests that were sent ahead may go without being moved on, while answers that have
/// arrived are taken.
constexpr milliseconds kMoveOnInterval{1};

}  // namespace

void EarlyAnswers::note_answer(const Exchange& exchange, steady_clock::duration time) {
  answer_time_ = time;
  if (exchange.reuses_connection()) return;
  connect_time_ = std::min<steady_clock::duration>(exchange.connect_time(), time);
  answer_time_ -= connect_time_;
}

void EarlyAnswers::note_end(const Exchange& exchange) {
  kept_ = exchange.keeps_connection();
  if (exchange.transfer().connected && !kept_) ahead_.note_closed();
}

std::unique_ptr<Exchange> EarlyAnswers::take(const std::string& url) {
  std::unique_ptr<Exchange> early = ahead_.take(url);
  if (!early) return nullptr;
  const Transfer& transfer = early->transfer();
  if (!transfer.over || steady_clock::now() - pool_.moved_on() > kMoveOnInterval) pool_.move_on();
  const bool on_trial = is_on_trial(*early);
  if (on_trial && !is_worth_waiting(*early)) return repeat(std::move(early));
  driver_.drive(*early, [&transfer] { return transfer.answered; });
  if (is_of_use(*early)) {
    ahead_.note_served(*early);
    return early;
  }
  if (transfer.is_shared && transfer.is_lost) {
    ahead_.note_lost();
    pool_.put_back(std::move(early));
    return nullptr;
  }
  const bool is_refused = on_trial && !transfer.answered;
  if (is_refused) ahead_.note_refused();
  // The server rather takes one request after the other, or needs its connections for this one.
  if (!is_refused || !kept_) ahead_.expect({});
  pool_.put_back(std::move(early));
  return nullptr;
}

/// Gives an exchange whose connection has never answered a short time to do so: whether it has an
/// answer then, or is to be waited for.
bool EarlyAnswers::is_worth_waiting(Exchange& on_trial) {
  const Transfer& transfer = on_trial.transfer();
  const auto answered = [&transfer] { return transfer.answered; };
  // Requests that were sent together are not answered at the same instant. So the answer gets half
  // the time that one took before, and what it took to connect, unless there is reason to believe
  // that it will not come.
  const bool is_expected = !kept_ || !ahead_.is_limited();
  const auto grace =
      is_expected ? ceil<milliseconds>(connect_time_ + answer_time_ / 2) : milliseconds(0);
  driver_.drive(on_trial, answered, steady_clock::now() + grace);
  // A server that closes every connection serves the others in turn, if they get through at all.
  return transfer.answered || transfer.over || (!kept_ && transfer.connected);
}

/// Sends a request, whose connection may never be served, once more over the connection that is
/// known to work: the exchange that is answered first.
std::unique_ptr<Exchange> EarlyAnswers::repeat(std::unique_ptr<Exchange> early) {
  std::unique_ptr<Exchange> repeated = pool_.take();
  const Transfer& first = early->transfer();
  repeated->prepare(first.url);
  pool_.start(*repeated);
  const Transfer& second = repeated->transfer();
  driver_.drive(*repeated, [&] { return second.answered || first.answered || first.over; });
  if (is_of_use(*early)) {
    ahead_.note_served(*early);
    pool_.put_back_later(std::move(repeated));
    return early;
  }
  if (second.answered && !first.over) {
    ahead_.note_overtaken(std::move(early));
  } else {
    if (first.over && !first.answered) ahead_.note_refused();
    pool_.put_back(std::move(early));
  }
  return repeated;
}

}  // namespace zendro::framework
