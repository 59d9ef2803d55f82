#include "console/terminal.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

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

}  // namespace zendro::console
