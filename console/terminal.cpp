#include "console/terminal.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

#include "console/terminal_keys.h"

namespace zendro::console {

bool has_colours(Stream stream) {
  const auto value = [](const char* name) {
    const char* text = std::getenv(name);
    return std::string_view(text == nullptr ? "" : text);
  };
  return is_terminal(stream) && value("NO_COLOR").empty() && value("TERM") != "dumb";
}

std::optional<std::string> read_line() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  return line;
}

std::optional<std::string> read_secret(const std::function<void()>& ask) {
  constexpr char interrupt = 3;
  constexpr char end = 4;
  const std::shared_ptr<void> hidden = hide_input();
  ask();
  std::string line;
  for (;;) {
    const std::string key = read_key();
    if (key.empty() || key[0] == interrupt || (key[0] == end && line.empty())) return std::nullopt;
    if (key == "\r" || key == "\n") return line;
    if (key != "\b" && key != "\x7F") {
      line += key;
      continue;
    }
    // The bytes behind the first one of a character, and that one.
    while (!line.empty() && (line.back() & 0xC0) == 0x80) line.pop_back();
    if (!line.empty()) line.pop_back();
  }
}

}  // namespace zendro::console
