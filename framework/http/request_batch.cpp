#include "framework/http/request_batch.h"

#include <algorithm>
#include <list>
#include <utility>

#include "framework/http/exchange_pool.h"
#include "framework/http/transfer_driver.h"
#include "framework/system/files.h"
#include "framework/url/http_url.h"

namespace zendro::framework {
namespace {

using Clock = std::chrono::steady_clock;

/// The longest wait between two looks at the clock, and at whether to stop.
constexpr std::chrono::milliseconds kLongestPause{100};
/// A body that is longer is not read to its end.
constexpr std::uint64_t kLongestBody = 1 << 20;

}  // namespace

class RequestBatch::Impl {
 public:
  Impl(const TransportSettings& settings, std::optional<AwsKey> key)
      : pool_(settings), key_(std::move(key)) {}

  void run(const std::vector<BatchRequest>& requests, std::size_t at_once, const Sink& sink,
           const std::stop_token& stop);

 private:
  /// A request that is under way.
  struct Job {
    std::size_t place = 0;
    std::unique_ptr<Exchange> exchange;
    std::shared_ptr<IOImpl_base> file;
    std::optional<Upload> upload;
    std::uint64_t moved_before = 0;  ///< by all requests, before this one
    Clock::duration spent{0};
    BatchResult result;
  };

  void begin(const BatchRequest& request, std::size_t place, const Sink& sink);
  [[nodiscard]] IoError start(const BatchRequest& request, Job& job);
  void move_on(Clock::duration time, const Sink& sink);
  static void take_body(Job& job);
  void charge(Job& job, Clock::duration time);
  void end(Job& job, const Sink& sink);
  [[nodiscard]] std::uint64_t moved() const;

  ExchangePool pool_;
  std::optional<AwsKey> key_;
  std::list<Job> jobs_;
  std::uint64_t sent_ = 0;  ///< by jobs that have ended
};

void RequestBatch::Impl::run(const std::vector<BatchRequest>& requests, std::size_t at_once,
                             const Sink& sink, const std::stop_token& stop) {
  auto before = Clock::now();
  std::size_t next = 0;
  while (!stop.stop_requested() && (next < requests.size() || !jobs_.empty())) {
    while (next < requests.size() && jobs_.size() < at_once) {
      begin(requests[next], next, sink);
      ++next;
    }
    CURLMcode code = pool_.move_on();
    const auto now = Clock::now();
    move_on(now - std::exchange(before, now), sink);
    const bool is_idle = next == requests.size() || jobs_.size() == at_once;
    if (code == CURLM_OK && is_idle && !jobs_.empty()) code = pool_.wait(kLongestPause);
    if (code != CURLM_OK) {
      for (Job& job : jobs_) job.exchange->stop(curl_multi_strerror(code));
    }
  }
  for (Job& job : jobs_) pool_.put_back(std::move(job.exchange));
  jobs_.clear();
}

void RequestBatch::Impl::begin(const BatchRequest& request, std::size_t place, const Sink& sink) {
  Job job;
  job.place = place;
  job.exchange = pool_.take();
  job.moved_before = moved();
  jobs_.push_back(std::move(job));
  Job& added = jobs_.back();
  added.result.error = start(request, added);
  if (!added.result.error) return;
  BatchResult result = std::move(added.result);
  pool_.put_back(std::move(added.exchange));
  jobs_.pop_back();
  sink(place, std::move(result));
}

IoError RequestBatch::Impl::start(const BatchRequest& request, Job& job) {
  const RequestUrl url = http_request_url(request.url);
  job.exchange->prepare(url.value_or(request.url));
  if (!url) return job.exchange->fail(url.error());
  if (pool_.ca_error()) {
    return job.exchange->fail("no trusted certificates: " + pool_.ca_error().text);
  }
  if (have_control_characters(request.headers)) {
    return job.exchange->fail("a request header has control characters");
  }
  SendOptions options;
  options.is_head = request.method == BatchRequest::Method::head;
  options.key = key_ ? &*key_ : nullptr;
  if (request.method == BatchRequest::Method::put) {
    OpenedStream file = open_file(request.file);
    if (!file) return file.error();
    job.file = std::move(*file);
    job.upload.emplace(Upload{*job.file, static_cast<std::uint64_t>(job.file->size())});
    options.upload = &*job.upload;
  }
  HttpRequest sent;
  sent.headers = request.headers;
  pool_.start(*job.exchange, sent, options);
  return {};
}

/// Takes what has arrived, and ends what is over.
void RequestBatch::Impl::move_on(Clock::duration time, const Sink& sink) {
  for (auto job = jobs_.begin(); job != jobs_.end();) {
    take_body(*job);
    charge(*job, time);
    const auto current = job++;
    if (!current->exchange->transfer().over || !current->exchange->body().empty()) continue;
    end(*current, sink);
    jobs_.erase(current);
  }
}

void RequestBatch::Impl::take_body(Job& job) {
  std::string& body = job.result.body;
  Transfer& transfer = job.exchange->transfer();
  char block[16 * 1024];
  while (const std::size_t count = job.exchange->body().take(block, sizeof block)) {
    body.append(block, std::min(count, BatchResult::kBodyLimit - body.size()));
    transfer.delivered += count;
  }
  if (transfer.delivered > kLongestBody && !transfer.over) {
    job.exchange->stop("the answer is longer than 1 MiB");
  }
  job.exchange->resume();
}

void RequestBatch::Impl::charge(Job& job, Clock::duration time) {
  Transfer& transfer = job.exchange->transfer();
  if (transfer.over) return;
  job.spent += time;
  if (transfer.connected) transfer.stall.add(time, transfer.content + job.exchange->sent_bytes());
  const std::string cause =
      why_too_slow(pool_.settings(), transfer.stall, job.spent, moved() - job.moved_before);
  if (!cause.empty()) job.exchange->stop(cause);
}

void RequestBatch::Impl::end(Job& job, const Sink& sink) {
  Transfer& transfer = job.exchange->transfer();
  sent_ += job.exchange->sent_bytes();
  BatchResult result = std::move(job.result);
  if (transfer.answered) {
    result.status = job.exchange->status();
    result.headers = std::move(transfer.headers);
  }
  if (job.file != nullptr && job.file->error()) {
    result.error = job.file->error();
  } else if (!transfer.cause.empty() || !transfer.answered) {
    result.error =
        job.exchange->fail(transfer.cause.empty() ? "closed without an answer" : transfer.cause);
  }
  pool_.put_back(std::move(job.exchange));
  sink(job.place, std::move(result));
}

std::uint64_t RequestBatch::Impl::moved() const {
  std::uint64_t sum = pool_.received() + sent_;
  for (const Job& job : jobs_) sum += job.exchange->sent_bytes();
  return sum;
}

RequestBatch::RequestBatch(const TransportSettings& settings, std::optional<AwsKey> key)
    : impl_(std::make_unique<Impl>(settings, std::move(key))) {}

RequestBatch::~RequestBatch() = default;

void RequestBatch::run(const std::vector<BatchRequest>& requests, std::size_t at_once,
                       const Sink& sink, const std::stop_token& stop) {
  impl_->run(requests, at_once, sink, stop);
}

}  // namespace zendro::framework
