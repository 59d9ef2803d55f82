// Public keys in minisign's format: an untrusted comment, and a line of base64 that holds
// algorithm, key id and the key of Ed25519.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

#include "framework/sign/ed25519.h"

namespace zendro::framework {

/// Random bytes that tell keys apart. They prove nothing.
using KeyId = std::array<unsigned char, 8>;

/// The id as minisign shows it: a hexadecimal number, the last byte first.
std::string to_hex(const KeyId& id);

struct PublicKey {
  KeyId id{};
  Ed25519PublicKey point{};
  bool operator==(const PublicKey&) const = default;
};

/// The keys of a text, one at least: the lines of base64 as they are, between blanks or line ends,
/// or whole documents one after another. The error tells what is no key.
tl::expected<std::vector<PublicKey>, std::string> parse_public_keys(std::string_view text);

/// The line of base64.
std::string key_line(const PublicKey& key);
/// The document, whose comment names the id.
std::string key_document(const PublicKey& key);

}  // namespace zendro::framework
