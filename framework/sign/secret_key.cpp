#include "framework/sign/secret_key.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <utility>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include "framework/sign/base64.h"
#include "framework/sign/blake2b.h"
#include "framework/sign/document_lines.h"

namespace zendro::framework {
namespace {

using Reason = tl::unexpected<std::string>;

constexpr std::string_view kScrypt = "Sc";
constexpr std::string_view kNoPassword("\0\0", 2);
constexpr std::string_view kChecksum = "B2";

// The bytes of a document: three algorithms, what scrypt is given, then what it covers: the id, the
// seed, the public key and a checksum.
constexpr std::size_t kSaltAt = 6;
constexpr std::size_t kSaltSize = 32;
constexpr std::size_t kWorkAt = kSaltAt + kSaltSize;
constexpr std::size_t kMemoryAt = kWorkAt + 8;
constexpr std::size_t kCoveredAt = kMemoryAt + 8;
constexpr std::size_t kChecksumSize = 32;
constexpr std::size_t kCoveredSize = 8 + 32 + 32 + kChecksumSize;
constexpr std::size_t kSize = kCoveredAt + kCoveredSize;

// What minisign gives scrypt, in operations and bytes, and what is taken of a document at most.
constexpr std::uint64_t kWork = 1 << 25;
constexpr std::uint64_t kMemory = 1 << 30;
constexpr std::uint64_t kMostWork = 8 * kWork;
constexpr std::uint64_t kMostMemory = 2 * kMemory;

constexpr std::string_view kWrongPassword = "the password is wrong, or the file is damaged";

void fill_randomly(void* bytes, std::size_t size) {
  if (RAND_bytes(static_cast<unsigned char*>(bytes), static_cast<int>(size)) != 1) {
    throw std::runtime_error("The cryptographic library has no randomness.");
  }
}

void append_number(std::string& bytes, std::uint64_t number) {
  for (int i = 0; i < 8; ++i, number >>= 8) bytes += static_cast<char>(number);
}

std::uint64_t number_at(std::string_view bytes, std::size_t at) {
  std::uint64_t number = 0;
  for (std::size_t i = 8; i-- > 0;)
    number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  return number;
}

struct ScryptCost {
  std::uint64_t n = 0;
  std::uint64_t r = 8;
  std::uint64_t p = 1;
};

// scrypt's own parameters from operations and bytes, as libsodium chooses them.
ScryptCost cost_of(std::uint64_t work, std::uint64_t memory) {
  constexpr std::uint64_t least_work = 32768;
  work = std::max(work, least_work);
  ScryptCost cost;
  const bool is_short_of_work = work < memory / 32;
  const std::uint64_t most = is_short_of_work ? work / (cost.r * 4) : memory / (cost.r * 128);
  for (cost.n = 2; cost.n <= most / 2;) cost.n *= 2;
  if (!is_short_of_work) cost.p = work / 4 / cost.n / cost.r;
  return cost;
}

// Covers or uncovers the last part of a document.
tl::expected<void, std::string> apply_password(std::string& bytes, std::string_view password) {
  const std::uint64_t work = number_at(bytes, kWorkAt);
  const std::uint64_t memory = number_at(bytes, kMemoryAt);
  if (work > kMostWork || memory > kMostMemory) {
    return Reason("its password asks for more work or memory than is given to any");
  }
  const ScryptCost cost = cost_of(work, memory);
  constexpr std::uint64_t slack = 1 << 20;
  std::array<unsigned char, kCoveredSize> stream{};
  if (EVP_PBE_scrypt(password.data(), password.size(),
                     reinterpret_cast<const unsigned char*>(bytes.data()) + kSaltAt, kSaltSize,
                     cost.n, cost.r, cost.p, kMostMemory + slack, stream.data(),
                     stream.size()) != 1) {
    return Reason("scrypt fails; it wants " + std::to_string(memory >> 20) + " MiB of memory");
  }
  for (std::size_t i = 0; i < stream.size(); ++i) {
    bytes[kCoveredAt + i] = static_cast<char>(bytes[kCoveredAt + i] ^ stream[i]);
  }
  OPENSSL_cleanse(stream.data(), stream.size());
  return {};
}

// Of a document whose last part is uncovered.
std::string checksum_of(const std::string& bytes) {
  return blake2b_256(std::string(kPlainAlgorithm) +
                     bytes.substr(kCoveredAt, kCoveredSize - kChecksumSize));
}

}  // namespace

SecretKey::~SecretKey() { OPENSSL_cleanse(seed.data(), seed.size()); }

SecretKey SecretKey::generate() {
  SecretKey key;
  fill_randomly(key.id.data(), key.id.size());
  fill_randomly(key.seed.data(), key.seed.size());
  return key;
}

PublicKey SecretKey::public_key() const { return {id, ed25519_public_key(seed)}; }

SecretKeyDocument::SecretKeyDocument(std::string bytes)
    : bytes_(std::move(bytes)),
      needs_password_(bytes_.compare(kPlainAlgorithm.size(), kScrypt.size(), kScrypt) == 0) {}

tl::expected<SecretKeyDocument, std::string> SecretKeyDocument::parse(std::string_view text) {
  if (!take_line(text).starts_with(kUntrustedComment)) {
    return Reason("no secret key of minisign: line 1 does not begin with \"untrusted comment: \"");
  }
  std::optional<std::string> bytes = decode_base64(take_line(text));
  if (!bytes || bytes->size() != kSize || !bytes->starts_with(kPlainAlgorithm)) {
    return Reason("no secret key of minisign: line 2 is not the base64 of one");
  }
  const std::string_view cover = std::string_view(*bytes).substr(2, 2);
  if ((cover != kScrypt && cover != kNoPassword) || bytes->compare(4, 2, kChecksum) != 0) {
    return Reason("a secret key with an unknown algorithm for password or checksum");
  }
  return SecretKeyDocument(std::move(*bytes));
}

tl::expected<SecretKey, std::string> SecretKeyDocument::open(std::string_view password) const {
  std::string bytes = bytes_;
  if (needs_password_) {
    if (auto applied = apply_password(bytes, password); !applied) return Reason(applied.error());
    if (!bytes.ends_with(checksum_of(bytes))) return Reason(std::string(kWrongPassword));
  }
  SecretKey key;
  Ed25519PublicKey point{};
  std::string_view rest = std::string_view(bytes).substr(kCoveredAt);
  take_bytes(rest, key.id);
  take_bytes(rest, key.seed);
  take_bytes(rest, point);
  OPENSSL_cleanse(bytes.data(), bytes.size());
  if (ed25519_public_key(key.seed) != point) return Reason("the file is damaged");
  return key;
}

tl::expected<std::string, std::string> secret_key_document(
    const SecretKey& key, const std::optional<std::string>& password) {
  std::string bytes(kPlainAlgorithm);
  bytes += password ? kScrypt : kNoPassword;
  bytes += kChecksum;
  std::string salt(kSaltSize, '\0');
  if (password) fill_randomly(salt.data(), salt.size());
  bytes += salt;
  append_number(bytes, password ? kWork : 0);
  append_number(bytes, password ? kMemory : 0);
  bytes += bytes_of(key.id);
  bytes += bytes_of(key.seed);
  bytes += bytes_of(key.public_key().point);
  // Without a password minisign leaves the checksum out.
  bytes += password ? checksum_of(bytes) : std::string(kChecksumSize, '\0');
  if (password) {
    if (auto applied = apply_password(bytes, *password); !applied) return Reason(applied.error());
  }
  std::string document(kUntrustedComment);
  document += password ? "minisign encrypted secret key\n" : "minisign unencrypted secret key\n";
  document += encode_base64(bytes) + "\n";
  OPENSSL_cleanse(bytes.data(), bytes.size());
  return document;
}

}  // namespace zendro::framework
