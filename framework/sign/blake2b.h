// BLAKE2b (RFC 7693) without a key, in the two lengths that minisign's format uses.
#pragma once

#include <string>
#include <string_view>

namespace zendro::framework {

/// The 64 bytes of BLAKE2b-512, through libcrypto. Throws std::runtime_error where it has none.
std::string blake2b_512(std::string_view bytes);

/// The 32 bytes of BLAKE2b-256, for short inputs.
std::string blake2b_256(std::string_view bytes);

}  // namespace zendro::framework
