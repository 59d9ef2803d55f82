// Signatures with Ed25519 (RFC 8032, section 5.1) through libcrypto.
//
// What makes or checks one throws std::runtime_error where libcrypto cannot.
#pragma once

#include <array>
#include <string_view>

namespace zendro::framework {

/// The private key, from which the public one follows.
using Ed25519Seed = std::array<unsigned char, 32>;
using Ed25519PublicKey = std::array<unsigned char, 32>;
using Ed25519Signature = std::array<unsigned char, 64>;

Ed25519PublicKey ed25519_public_key(const Ed25519Seed& seed);

/// The same signature for the same message, always.
Ed25519Signature ed25519_sign(const Ed25519Seed& seed, std::string_view message);

bool ed25519_verify(const Ed25519PublicKey& key, const Ed25519Signature& signature,
                    std::string_view message);

}  // namespace zendro::framework
