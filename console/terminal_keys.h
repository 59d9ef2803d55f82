// Single keys of the terminal that is the standard input.
#pragma once

#include <memory>
#include <string>

namespace zendro::console {

/// Has the terminal neither show what is typed nor act on it, until the last copy of what is
/// returned goes.
[[nodiscard]] std::shared_ptr<void> hide_input();

/// What the next key types, in UTF-8, or a byte of it; empty at the end of the input.
std::string read_key();

}  // namespace zendro::console
