// SHA-256 (FIPS 180-4) digests, computed incrementally through libcrypto.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zendro::framework {

using Sha256Digest = std::array<std::uint8_t, 32>;

class Sha256 {
 public:
  Sha256();  ///< Throws std::runtime_error when libcrypto has no SHA-256.
  ~Sha256();
  Sha256(Sha256&&) noexcept;
  Sha256& operator=(Sha256&&) noexcept;

  void update(const void* data, std::size_t size);
  /// The digest of all bytes given so far; the object must not be used afterwards.
  Sha256Digest finish();

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

/// The digest of a byte range.
Sha256Digest sha256(std::string_view bytes);

/// Decodes exactly 64 hexadecimal digits of either case; nothing for any other text.
std::optional<Sha256Digest> parse_sha256(std::string_view text);

/// The digest as 64 lower-case hexadecimal digits.
std::string to_hex(const Sha256Digest& digest);

}  // namespace zendro::framework
