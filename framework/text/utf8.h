// UTF-8 (RFC 3629), and wide texts: UTF-16 or UTF-32, as wchar_t is wide.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zendro::framework {

/// The length in bytes of the character at the beginning of `text`, which goes to `character`; 0
/// where no well-formed character stands there (overlong forms and surrogates included).
std::size_t decode_utf8(std::string_view text, char32_t& character);

/// The character at `at`, which is inside the text and moves behind it. U+FFFD for a byte, or a
/// unit, that begins no character.
char32_t take_character(std::string_view utf8, std::size_t& at);
char32_t take_character(std::wstring_view wide, std::size_t& at);
void append_wide(std::wstring& out, char32_t character);

/// The text up to `most` bytes, without a character that would be cut.
std::string_view utf8_beginning(std::string_view utf8, std::size_t most);

/// Each byte, or unit, that begins no character becomes U+FFFD.
std::wstring to_wide(std::string_view utf8);
std::string to_utf8(std::wstring_view wide);

}  // namespace zendro::framework
