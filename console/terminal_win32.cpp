#include <array>
#include <cstdio>

#include <windows.h>
#include <fcntl.h>
#include <io.h>

#include "framework/text/utf8.h"

#include "console/terminal.h"
#include "console/terminal_keys.h"

namespace zendro::console {
namespace {

HANDLE handle_of(Stream stream) {
  constexpr std::array numbers = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return GetStdHandle(numbers[static_cast<std::size_t>(stream)]);
}

}  // namespace

bool is_terminal(Stream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handle_of(stream), &mode) != 0;
}

std::size_t columns(Stream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info = {};
  if (!is_terminal(stream) || GetConsoleScreenBufferInfo(handle_of(stream), &info) == 0) return 0;
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}

std::shared_ptr<void> set_console_up() {
  const UINT previous = GetConsoleOutputCP();
  SetConsoleOutputCP(CP_UTF8);
  for (FILE* file : {stdout, stderr}) _setmode(_fileno(file), _O_BINARY);
  // Colours and erased lines, as terminals elsewhere.
  for (const Stream stream : {Stream::output, Stream::error}) {
    DWORD mode = 0;
    if (GetConsoleMode(handle_of(stream), &mode) != 0) {
      SetConsoleMode(handle_of(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
  }
  return {nullptr, [previous](void*) {
            if (previous != 0) SetConsoleOutputCP(previous);
          }};
}

std::shared_ptr<void> hide_input() {
  const HANDLE input = handle_of(Stream::input);
  DWORD before = 0;
  if (GetConsoleMode(input, &before) == 0) return nullptr;
  SetConsoleMode(input, 0);
  return {nullptr, [input, before](void*) { SetConsoleMode(input, before); }};
}

std::string read_key() {
  std::wstring key;
  // A character beyond the first 65,536 comes in two.
  do {
    wchar_t unit = 0;
    DWORD count = 0;
    if (ReadConsoleW(handle_of(Stream::input), &unit, 1, &count, nullptr) == 0 || count == 0) {
      return {};
    }
    key += unit;
  } while (key.size() == 1 && IS_HIGH_SURROGATE(key[0]));
  return framework::to_utf8(key);
}

void end_at_once(int status) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
  for (;;) Sleep(INFINITE);
}

}  // namespace zendro::console
