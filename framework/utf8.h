// Reading UTF-8 (RFC 3629) one character at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace zendro::framework {

/// The length in bytes of the character at the beginning of `text`, which goes to `character`; 0
/// where no well-formed character stands there (overlong forms and surrogates included).
std::size_t decode_utf8(std::string_view text, char32_t& character);

}  // namespace zendro::framework
