// Secret keys in minisign's format: an untrusted comment, and a line of base64 that holds the key
// as it is, or behind a password (scrypt, RFC 7914).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

#include "framework/sign/public_key.h"

namespace zendro::framework {

/// Wiped from memory when it goes.
struct SecretKey {
  KeyId id{};
  Ed25519Seed seed{};

  SecretKey() = default;
  SecretKey(const SecretKey&) = default;
  SecretKey& operator=(const SecretKey&) = default;
  ~SecretKey();

  /// A new key, from the system's source of randomness. Throws std::runtime_error where it fails.
  static SecretKey generate();
  [[nodiscard]] PublicKey public_key() const;
};

/// A document that has been read, whose key may be behind a password.
class SecretKeyDocument {
 public:
  /// The error tells why the text is no such document.
  static tl::expected<SecretKeyDocument, std::string> parse(std::string_view text);

  [[nodiscard]] bool needs_password() const { return needs_password_; }
  /// The key. It takes seconds and a gigabyte of memory where it needs a password, which otherwise
  /// is not looked at. The error tells what is wrong.
  [[nodiscard]] tl::expected<SecretKey, std::string> open(std::string_view password) const;

 private:
  explicit SecretKeyDocument(std::string bytes);

  std::string bytes_;  ///< what the base64 holds
  bool needs_password_;
};

/// The document of a key, behind a password where one is given. It then takes as long as opening
/// it. The error tells what the system has too little of.
tl::expected<std::string, std::string> secret_key_document(
    const SecretKey& key, const std::optional<std::string>& password);

}  // namespace zendro::framework
