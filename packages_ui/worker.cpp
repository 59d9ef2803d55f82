#include "packages_ui/worker.h"

#include <utility>

namespace zendro::packages_ui {

Worker::~Worker() {
  if (thread_.joinable()) thread_.join();
}

void Worker::start(std::function<void()> work) {
  if (thread_.joinable()) thread_.join();
  thread_ = std::thread(std::move(work));
}

}  // namespace zendro::packages_ui
