// Signatures in minisign's format: an untrusted comment, a line of base64 that holds algorithm, key
// id and the signature of the file, a trusted comment, and a line of base64 that signs both
// signature and trusted comment.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

#include "framework/sign/public_key.h"
#include "framework/sign/secret_key.h"

namespace zendro::framework {

/// What the name of a signed file has behind it in that of its signature.
inline constexpr std::string_view kSignatureSuffix = ".minisig";
/// The bytes of a document that are looked at; one that has more is refused.
inline constexpr std::size_t kSignatureLimit = 4096;

/// Verifies the `document` of a signature of `bytes`, which any of `keys` may have made: the
/// signature of the file (its BLAKE2b-512, or the file itself in the legacy form) and that of the
/// trusted comment, which is returned. The error tells what is wrong with it.
tl::expected<std::string, std::string> verify_signature(std::string_view document,
                                                        std::string_view bytes,
                                                        const std::vector<PublicKey>& keys);

/// The document of a signature of `bytes`, over their BLAKE2b-512. The comment, which has no line
/// end, is trusted by whoever trusts the key.
std::string make_signature(std::string_view bytes, const SecretKey& key,
                           std::string_view trusted_comment);

}  // namespace zendro::framework
