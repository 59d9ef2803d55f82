#include "framework/http/exchange_pool.h"

#include <algorithm>
#include <new>
#include <utility>

#include "framework/http/proxy_choice.h"
#include "framework/http/tls_sessions.h"
#include "framework/system/broken_pipe.h"
#include "framework/system/files.h"

namespace zendro::framework {
namespace {

constexpr std::size_t kMaxCaFile = 16 * 1024 * 1024;
/// Idle connections that are kept: all that reading ahead may have opened.
constexpr long kMaxConnections = 32;

}  // namespace

ExchangePool::ExchangePool(const TransportSettings& settings) : settings_(settings) {
  static const CURLcode initialised = [] {
    ignore_broken_pipes();
    return curl_global_init(CURL_GLOBAL_DEFAULT);
  }();
  if (initialised == CURLE_OK) {
    sessions_ = tls_sessions();
    multi_.reset(curl_multi_init());
  }
  if (!multi_) throw std::bad_alloc();
  curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, kMaxConnections);
  if (!settings_.ca_file.empty()) {
    Result<std::string> certificates = read_file(settings_.ca_file, kMaxCaFile);
    if (certificates) {
      ca_certificates_ = std::move(*certificates);
    } else {
      ca_error_ = certificates.error();
    }
  }
}

std::unique_ptr<Exchange> ExchangePool::take() {
  const auto over = std::partition(later_.begin(), later_.end(),
                                   [](const auto& exchange) { return !exchange->transfer().over; });
  for (auto at = over; at != later_.end(); ++at) put_back(std::move(*at));
  later_.erase(over, later_.end());
  if (spare_.empty()) {
    return std::make_unique<Exchange>(multi_.get(), sessions_.get(), settings_, ca_certificates_,
                                      received_);
  }
  std::unique_ptr<Exchange> exchange = std::move(spare_.back());
  spare_.pop_back();
  return exchange;
}

void ExchangePool::put_back(std::unique_ptr<Exchange> exchange) {
  exchange->end();
  spare_.push_back(std::move(exchange));
}

void ExchangePool::put_back_later(std::unique_ptr<Exchange> exchange) {
  exchange->discard_body();
  later_.push_back(std::move(exchange));
}

void ExchangePool::start(Exchange& exchange, const HttpRequest& request, SendOptions options) {
  options.proxy = choose_proxy(exchange.transfer().url, *system_proxy_);
  exchange.start(request, options);
}

CURLMcode ExchangePool::move_on() {
  int count = 0;
  const CURLMcode code = curl_multi_perform(multi_.get(), &count);
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &count)) {
    if (message->msg == CURLMSG_DONE) {
      Exchange::of(message->easy_handle).finished(message->data.result);
    }
  }
  moved_on_ = std::chrono::steady_clock::now();
  return code;
}

CURLMcode ExchangePool::wait(std::chrono::milliseconds time) {
  return curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(time.count()), nullptr);
}

}  // namespace zendro::framework
