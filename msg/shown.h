// Texts from outside as they are shown and logged: short enough for any control, and with nothing
// in them that cannot be seen. What is stored, compared or sent is never changed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zendro::msg {

// How much is shown of a text, in units of wchar_t. What is longer ends with an ellipsis.
inline constexpr std::size_t kMostOfCell = 1'000;   ///< in a cell of the grid, and of a name
inline constexpr std::size_t kMostOfLine = 10'000;  ///< in a line of the log or of a message

/// The text on one line: blanks for control characters and separators of lines, "<U+202E>" for what
/// is_invisible(), and of what is longer than `most` the beginning, which ends neither inside a
/// character nor between one and its marks. Takes as long as what is shown is, not as the text is.
/// A result comes out unchanged when it is shown once more.
std::wstring shown(std::string_view utf8, std::size_t most = kMostOfLine);
std::wstring shown(std::wstring_view text, std::size_t most = kMostOfLine);

/// The same for each line of a text, whose line ends "\n" stay; "\r" are left out.
std::wstring shown_lines(std::wstring_view text, std::size_t most = kMostOfLine);

}  // namespace zendro::msg
