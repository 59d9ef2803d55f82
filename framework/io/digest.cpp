#include "framework/io/digest.h"

#include <stdexcept>

#include <openssl/evp.h>

#include "framework/text/percent.h"

namespace zendro::framework {

struct Sha256::Context {
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  std::unique_ptr<EVP_MD_CTX, Free> evp{EVP_MD_CTX_new()};
};

Sha256::Sha256() : context_(std::make_unique<Context>()) {
  if (!context_->evp || EVP_DigestInit_ex(context_->evp.get(), EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("The cryptographic library provides no SHA-256.");
  }
}

Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(const void* data, std::size_t size) {
  EVP_DigestUpdate(context_->evp.get(), data, size);
}

Sha256Digest Sha256::finish() {
  Sha256Digest digest{};
  EVP_DigestFinal_ex(context_->evp.get(), digest.data(), nullptr);
  return digest;
}

Sha256Digest sha256(std::string_view bytes) {
  Sha256 hash;
  hash.update(bytes.data(), bytes.size());
  return hash.finish();
}

std::optional<Sha256Digest> parse_sha256(std::string_view text) {
  Sha256Digest digest{};
  if (text.size() != 2 * digest.size()) return std::nullopt;
  for (std::size_t i = 0; i < digest.size(); ++i) {
    const int high = hex_digit_value(text[2 * i]);
    const int low = hex_digit_value(text[2 * i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    digest[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  return digest;
}

std::string to_hex(const Sha256Digest& digest) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * digest.size());
  for (const std::uint8_t byte : digest) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

}  // namespace zendro::framework
