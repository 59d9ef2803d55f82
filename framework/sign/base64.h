// Base64 (RFC 4648, section 4).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zendro::framework {

/// The text of `bytes`, with padding and without line ends.
std::string encode_base64(std::string_view bytes);

/// The bytes of a text that encode_base64() would write; nothing for any other text.
std::optional<std::string> decode_base64(std::string_view text);

}  // namespace zendro::framework
