// Tells a small server when to stop: its standard input is at its end (the parent has gone), a
// termination signal arrives, or its time is over.
#pragma once

#include <chrono>
#include <cstdint>

namespace zendro::loopback {

enum class EndReason { input_closed, signal, time_over };

class EndOfRun {
 public:
  /// Takes over the handling of termination signals; to be made before any thread is started.
  /// Throws std::system_error.
  EndOfRun();
  ~EndOfRun();
  EndOfRun(const EndOfRun&) = delete;
  EndOfRun& operator=(const EndOfRun&) = delete;

  /// Blocks until there is a reason to stop. Input is read and ignored.
  EndReason wait(std::chrono::seconds limit);

 private:
  std::intptr_t signals_ = -1;  ///< tells of termination signals: a descriptor or a handle
};

}  // namespace zendro::loopback
