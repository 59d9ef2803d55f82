#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "tests/loopback/end_of_run.h"

namespace zendro::loopback {

EndOfRun::EndOfRun() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    sigaddset(&ending, signal);
  }
  // Threads that are started later inherit the mask, so that only the descriptor sees the signals.
  const int failure = pthread_sigmask(SIG_BLOCK, &ending, nullptr);
  signals_ = signalfd(-1, &ending, SFD_CLOEXEC);
  if (failure != 0 || signals_ < 0) {
    throw std::system_error(failure != 0 ? failure : errno, std::generic_category(), "signals");
  }
}

EndOfRun::~EndOfRun() { close(static_cast<int>(signals_)); }

EndReason EndOfRun::wait(std::chrono::seconds limit) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point end = Clock::now() + limit;
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (left.count() <= 0) {
      return EndReason::time_over;
    }
    std::array<pollfd, 2> waited{
        {{STDIN_FILENO, POLLIN, 0}, {static_cast<int>(signals_), POLLIN, 0}}};
    if (poll(waited.data(), waited.size(), static_cast<int>(left.count())) < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    if (waited[1].revents != 0) {
      return EndReason::signal;
    }
    if (waited[0].revents != 0) {
      std::array<char, 256> ignored;
      if (read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) {
        return EndReason::input_closed;
      }
    }
  }
}

}  // namespace zendro::loopback
