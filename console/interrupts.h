// Ctrl+C, and whatever else asks the program to end.
#pragma once

#include <functional>
#include <memory>

namespace zendro::console {

/// While it lives the first request to end calls `act`, on a thread of its own, and a second one
/// ends the process at once with kInterrupted. Made before any other thread, one at a time.
class Interrupts {
 public:
  explicit Interrupts(std::function<void()> act);
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace zendro::console
