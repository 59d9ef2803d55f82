// Filling named arguments into message texts.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zendro::msg {

/// A named argument: placeholder name without braces, and its value.
using Argument = std::pair<std::wstring, std::wstring>;
using Arguments = std::vector<Argument>;

/// `text` with each {name} replaced by the argument of that name. Values are filled in once: a
/// {name} inside a value stays as it is; a placeholder without an argument stays as well. Values
/// are filled in as shown() shows them, so that none starts a new line or hides what it says.
std::wstring fill(std::wstring_view text, const Arguments& arguments);

/// The text of a message of the table, filled.
std::wstring format_message(int code, const Arguments& arguments);

}  // namespace zendro::msg
