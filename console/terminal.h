// The terminal, where there is one.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace zendro::console {

enum class Stream : int { input = 0, output = 1, error = 2 };

/// Whether a person reads or writes at the other end.
bool is_terminal(Stream stream);
/// The width of the terminal in characters; 0 where the stream leads to none.
std::size_t columns(Stream stream);
/// Whether it is a terminal with colours that the user wants (NO_COLOR, TERM).
bool has_colours(Stream stream);
/// UTF-8 on the console, bytes as they are in files and pipes, until the last copy of what is
/// returned goes.
[[nodiscard]] std::shared_ptr<void> set_console_up();

/// A line that the user types; nothing at the end of the input.
std::optional<std::string> read_line();
/// The same on a terminal, which does not show what is typed from `ask` on; nothing as well where
/// Ctrl+C ends it.
std::optional<std::string> read_secret(const std::function<void()>& ask);
/// Ends the process at once, without cleaning up.
[[noreturn]] void end_at_once(int status);

}  // namespace zendro::console
