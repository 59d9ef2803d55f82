#include "framework/http/request_sender.h"

#include <utility>

#include "framework/http/redirect.h"
#include "framework/url/http_url.h"

namespace zendro::framework {
namespace {

using std::chrono::steady_clock;

/// How long the answer to a body that was sent is waited for.
constexpr std::chrono::seconds kAnswerTime{2};

std::string why_unanswered(const Transfer& transfer) {
  if (!transfer.over) return "no answer in time";
  return transfer.cause.empty() ? "closed without an answer" : transfer.cause;
}

}  // namespace

SendResult RequestSender::send(const HttpRequest& request, const std::string_view* body) {
  end();
  driver_.begin_request();
  const RequestUrl url = http_request_url(request.url);
  const bool is_plain = body == nullptr && request.headers.empty() &&
                        request.trace_log == nullptr && !request.any_status;
  const bool is_sent = is_plain && url && take_early(*url);
  if (!is_sent) {
    if (request.trace_log != nullptr) current_->trace_to(request.trace_log, request.trace_level);
    current_->prepare(url.value_or(request.url));
  }
  std::string cause = url ? "" : url.error();
  if (cause.empty() && have_control_characters(request.headers)) {
    cause = "a request header has control characters";
  }
  if (cause.empty() && pool_.ca_error()) {
    cause = "no trusted certificates: " + pool_.ca_error().text;
  }
  SendResult result;
  if (cause.empty()) cause = follow(request, body, is_sent, result);
  if (!cause.empty()) {
    result.error = current_->fail(cause);
    end();
  }
  return result;
}

/// Makes the exchange that has been begun for this URL the current one, if there is one that serves
/// as well as a new one.
bool RequestSender::take_early(const std::string& url) {
  std::unique_ptr<Exchange> early = early_.take(url);
  if (!early) return false;
  pool_.put_back(std::exchange(current_, std::move(early)));
  return true;
}

/// Sends the request to the current URL, unless it `is_sent`, and again where redirects lead, until
/// an answer is to be judged. Returns why there is none; empty: there is one.
std::string RequestSender::follow(const HttpRequest& request, const std::string_view* body,
                                  bool is_sent, SendResult& result) {
  const std::string first_url = current_->transfer().url;
  for (int redirects = 0;; ++redirects) {
    const auto begin = steady_clock::now();
    const bool in_turn = !std::exchange(is_sent, false);
    if (in_turn) {
      const bool is_trusted = redirects == 0 || same_origin(first_url, current_->transfer().url);
      SendOptions options{.body = body, .with_credentials = is_trusted};
      options.offers_http2 = request.many_follow && body == nullptr;
      pool_.start(*current_, request, options);
      if (options.offers_http2) repeat_if_lost(request, options, result);
    }
    await_answer(body, result);
    const Transfer& answer = current_->transfer();
    if (!answer.answered) return why_unanswered(answer);
    if (in_turn) early_.note_answer(*current_, steady_clock::now() - begin);
    const long status = current_->status();
    if (status == 0)
      return "HTTP status 0";  // servers can send it; here it means that there is none
    if (!leads_elsewhere(status, body != nullptr)) {
      result.status = status;
      return {};
    }
    const auto target = redirect_target(answer, redirects);
    drain(result.until.value_or(TransferDriver::kNever));
    if (!target) return target.error();
    current_->prepare(*target);
  }
}

/// Waits for the answer, and sends the request once more where it was lost with its connection. A
/// server that has answered many requests over a shared one closes it, which libcurl 7.88 may
/// notice too late to do this by itself. The repeated one shares no connection.
void RequestSender::repeat_if_lost(const HttpRequest& request, SendOptions options,
                                   SendResult& result) {
  await_answer(options.body, result);
  const Transfer& transfer = current_->transfer();
  if (transfer.answered || !transfer.is_lost || !current_->reuses_connection()) return;
  current_->prepare(std::string(transfer.url));
  options.offers_http2 = false;
  pool_.start(*current_, request, options);
}

/// Waits for the answer. Where there is a body, all of it is sent even if the answer comes earlier,
/// and the answer is given kAnswerTime after that.
void RequestSender::await_answer(const std::string_view* body, SendResult& result) {
  const Transfer& transfer = current_->transfer();
  driver_.drive(*current_, [&] {
    if (body == nullptr) return transfer.answered;
    const bool sent = transfer.connected && current_->sent_bytes() >= body->size();
    if (sent && !result.until) result.until = steady_clock::now() + kAnswerTime;
    return (sent && transfer.answered) || (result.until && steady_clock::now() >= *result.until);
  });
  result.connected |= transfer.connected;
}

std::size_t RequestSender::read_body(std::span<char> out) {
  BodyBuffer& body = current_->body();
  if (!body.empty()) return body.take(out.data(), out.size());
  body.lend(out);
  current_->resume();
  driver_.drive(*current_, [&] { return body.lent() < out.size(); });
  const std::size_t count = out.size() - body.lent();
  body.withdraw();
  return count;
}

void RequestSender::drain(steady_clock::time_point latest) { driver_.drain(*current_, latest); }

void RequestSender::end() {
  if (!current_->has_request()) return;
  early_.note_end(*current_);
  current_->end();
}

}  // namespace zendro::framework
