#include "framework/io/hash_thread.h"

#include <system_error>
#include <utility>

namespace zendro::framework {

HashThread::~HashThread() {
  if (!thread_.joinable()) return;
  wait();
  {
    const std::lock_guard lock(mutex_);
    is_over_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void HashThread::add(Sha256& digest, std::string_view block) {
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) {
      digest.update(block.data(), block.size());
      return;
    }
  }
  {
    const std::lock_guard lock(mutex_);
    blocks_.emplace_back(&digest, block);
  }
  changed_.notify_all();
}

void HashThread::wait(std::size_t most) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] { return blocks_.size() <= most; });
}

void HashThread::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return is_over_ || !blocks_.empty(); });
    if (is_over_) return;
    const auto [digest, block] = blocks_.front();
    lock.unlock();
    digest->update(block.data(), block.size());
    lock.lock();
    blocks_.pop_front();
    changed_.notify_all();
  }
}

}  // namespace zendro::framework
