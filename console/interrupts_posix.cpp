#include <atomic>
#include <csignal>
#include <thread>

#include <pthread.h>

#include "console/exit_status.h"
#include "console/interrupts.h"
#include "console/terminal.h"

namespace zendro::console {

namespace {

constexpr int kWakeUp = SIGUSR2;

bool is_ignored(int signal) {
  struct sigaction now = {};
  return sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

}  // namespace

// A thread takes the signals, so that what they lead to need not be safe in a signal handler.
struct Interrupts::State {
  std::function<void()> act;
  std::atomic<bool> is_over = false;
  sigset_t signals = {};
  sigset_t before = {};
  std::thread thread;

  void run() {
    for (bool is_first = true;;) {
      int signal = 0;
      if (sigwait(&signals, &signal) != 0 || is_over) return;
      if (signal == kWakeUp) continue;  // somebody else's
      if (!is_first) end_at_once(kInterrupted);
      act();
      is_first = false;
    }
  }
};

Interrupts::Interrupts(std::function<void()> act) : state_(std::make_unique<State>()) {
  state_->act = std::move(act);
  sigemptyset(&state_->signals);
  sigaddset(&state_->signals, kWakeUp);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    // What whoever started this has ignored (nohup) stays so.
    if (!is_ignored(signal)) sigaddset(&state_->signals, signal);
  }
  // Every later thread inherits it.
  pthread_sigmask(SIG_BLOCK, &state_->signals, &state_->before);
  state_->thread = std::thread([this] { state_->run(); });
}

Interrupts::~Interrupts() {
  state_->is_over = true;
  pthread_kill(state_->thread.native_handle(), kWakeUp);
  state_->thread.join();
  pthread_sigmask(SIG_SETMASK, &state_->before, nullptr);
}

}  // namespace zendro::console
