// Work on all processors whose results come in order, as if one piece were done after the other.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "framework/system/this_process.h"

namespace zendro::framework {

/// Used by one thread, which works as well while it waits for a result; the others are made when
/// there is something for them to do. What does not fit in is to be taken first, so that memory is
/// bounded.
template <typename Result>
class WorkAhead {
 public:
  /// `room`: results that are not taken yet, 1 at least.
  explicit WorkAhead(std::size_t room) : room_(room) {}
  /// Waits for what has been begun; the rest is dropped.
  ~WorkAhead() {
    {
      const std::lock_guard lock(mutex_);
      is_closed_ = true;
    }
    changed_.notify_all();
  }
  WorkAhead(const WorkAhead&) = delete;
  WorkAhead& operator=(const WorkAhead&) = delete;

  [[nodiscard]] bool has_room() const { return results_.size() < room_; }
  [[nodiscard]] bool is_empty() const { return results_.empty(); }

  /// Only where there is room.
  void add(std::function<Result()> work) {
    std::packaged_task<Result()> task(std::move(work));
    results_.push_back(task.get_future());
    {
      const std::lock_guard lock(mutex_);
      tasks_.push_back(std::move(task));
    }
    changed_.notify_one();
    if (results_.size() > 1) add_thread();
  }

  /// The result of the oldest work whose result was not taken; throws what that threw.
  Result take() {
    std::future<Result> result = std::move(results_.front());
    results_.pop_front();
    while (result.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      std::unique_lock lock(mutex_);
      if (tasks_.empty()) break;
      run_first(lock);
    }
    return result.get();
  }

 private:
  void add_thread() {
    if (threads_.size() + 1 >= processor_count()) return;
    try {
      threads_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {  // NOLINT(bugprone-empty-catch): take() does all of it
    }
  }

  void work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return is_closed_ || !tasks_.empty(); });
      if (is_closed_) return;
      run_first(lock);
    }
  }

  void run_first(std::unique_lock<std::mutex>& lock) {
    std::packaged_task<Result()> task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }

  const std::size_t room_;
  std::deque<std::future<Result>> results_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::packaged_task<Result()>> tasks_;  ///< that nobody has begun
  bool is_closed_ = false;
  std::vector<std::jthread> threads_;  ///< the last member: joined before the others end
};

}  // namespace zendro::framework
