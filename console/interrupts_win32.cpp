#include <atomic>
#include <mutex>

#include <windows.h>

#include "console/exit_status.h"
#include "console/interrupts.h"
#include "console/terminal.h"

namespace zendro::console {
namespace {

std::mutex current_mutex;
std::function<void()>* current_act = nullptr;
std::atomic<int> requests = 0;

// The system calls it on a thread of its own.
BOOL WINAPI on_console_event(DWORD) {
  if (++requests > 1) end_at_once(kInterrupted);
  const std::lock_guard lock(current_mutex);
  if (current_act != nullptr) (*current_act)();
  return TRUE;
}

}  // namespace

struct Interrupts::State {
  std::function<void()> act;
};

Interrupts::Interrupts(std::function<void()> act)
    : state_(std::make_unique<State>(State{std::move(act)})) {
  {
    const std::lock_guard lock(current_mutex);
    current_act = &state_->act;
    requests = 0;
  }
  SetConsoleCtrlHandler(on_console_event, TRUE);
}

Interrupts::~Interrupts() {
  SetConsoleCtrlHandler(on_console_event, FALSE);
  const std::lock_guard lock(current_mutex);
  current_act = nullptr;
}

}  // namespace zendro::console
