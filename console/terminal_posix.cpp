#include <cerrno>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include "console/terminal.h"
#include "console/terminal_keys.h"

namespace zendro::console {

bool is_terminal(Stream stream) { return isatty(static_cast<int>(stream)) == 1; }

std::size_t columns(Stream stream) {
  if (!is_terminal(stream)) return 0;
  constexpr std::size_t usual = 80;
  winsize size = {};
  const bool known = ioctl(static_cast<int>(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : usual;
}

std::shared_ptr<void> set_console_up() { return nullptr; }

std::shared_ptr<void> hide_input() {
  termios before = {};
  if (tcgetattr(STDIN_FILENO, &before) != 0) return nullptr;
  termios hidden = before;
  hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | ISIG);
  tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
  return {nullptr, [before](void*) { tcsetattr(STDIN_FILENO, TCSAFLUSH, &before); }};
}

std::string read_key() {
  char byte = 0;
  ssize_t count = 0;
  do {
    count = read(STDIN_FILENO, &byte, 1);
  } while (count < 0 && errno == EINTR);
  return count == 1 ? std::string(1, byte) : std::string();
}

void end_at_once(int status) { _exit(status); }

}  // namespace zendro::console
