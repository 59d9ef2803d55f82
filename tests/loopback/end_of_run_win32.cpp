#include <array>
#include <atomic>
#include <system_error>
#include <thread>

#include <windows.h>

#include "tests/loopback/end_of_run.h"

namespace zendro::loopback {
namespace {

// The system's handler gets no argument; the events stay until the end of the process, as a thread
// may still wait for input then.
std::atomic<HANDLE> told_to_end = nullptr;

BOOL WINAPI on_console_event(DWORD) {
  SetEvent(told_to_end);
  return TRUE;
}

HANDLE make_event() {
  HANDLE const event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  if (event == nullptr) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "event");
  }
  return event;
}

void read_to_the_end(HANDLE input_closed) {
  HANDLE const input = GetStdHandle(STD_INPUT_HANDLE);
  std::array<char, 256> ignored;
  DWORD count = 0;
  do {
    count = 0;
  } while (ReadFile(input, ignored.data(), static_cast<DWORD>(ignored.size()), &count, nullptr) !=
               0 &&
           count != 0);
  SetEvent(input_closed);
}

}  // namespace

EndOfRun::EndOfRun() {
  HANDLE const event = make_event();
  signals_ = reinterpret_cast<std::intptr_t>(event);
  told_to_end = event;
  SetConsoleCtrlHandler(on_console_event, TRUE);
}

EndOfRun::~EndOfRun() { SetConsoleCtrlHandler(on_console_event, FALSE); }

EndReason EndOfRun::wait(std::chrono::seconds limit) {
  HANDLE const input_closed = make_event();
  // A wait for input cannot be broken off everywhere.
  std::thread(read_to_the_end, input_closed).detach();
  const std::array<HANDLE, 2> events{reinterpret_cast<HANDLE>(signals_), input_closed};
  const auto time = std::chrono::milliseconds(limit).count();
  switch (WaitForMultipleObjects(static_cast<DWORD>(events.size()), events.data(), FALSE,
                                 static_cast<DWORD>(time))) {
    case WAIT_OBJECT_0:
      return EndReason::signal;
    case WAIT_OBJECT_0 + 1:
      return EndReason::input_closed;
    case WAIT_TIMEOUT:
      return EndReason::time_over;
    default:
      throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "wait");
  }
}

}  // namespace zendro::loopback
