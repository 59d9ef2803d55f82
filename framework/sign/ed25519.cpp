#include "framework/sign/ed25519.h"

#include <memory>
#include <stdexcept>

#include <openssl/evp.h>

namespace zendro::framework {
namespace {

struct Free {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Key = std::unique_ptr<EVP_PKEY, Free>;
using Context = std::unique_ptr<EVP_MD_CTX, Free>;

void require(bool succeeded) {
  if (!succeeded) throw std::runtime_error("The cryptographic library provides no Ed25519.");
}

Key private_key(const Ed25519Seed& seed) {
  Key key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, seed.data(), seed.size()));
  require(key != nullptr);
  return key;
}

const unsigned char* data_of(std::string_view message) {
  return reinterpret_cast<const unsigned char*>(message.data());
}

}  // namespace

Ed25519PublicKey ed25519_public_key(const Ed25519Seed& seed) {
  Ed25519PublicKey point{};
  std::size_t size = point.size();
  require(EVP_PKEY_get_raw_public_key(private_key(seed).get(), point.data(), &size) == 1);
  return point;
}

Ed25519Signature ed25519_sign(const Ed25519Seed& seed, std::string_view message) {
  const Key key = private_key(seed);
  const Context context(EVP_MD_CTX_new());
  Ed25519Signature signature{};
  std::size_t size = signature.size();
  require(context != nullptr &&
          EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
          EVP_DigestSign(context.get(), signature.data(), &size, data_of(message),
                         message.size()) == 1);
  return signature;
}

bool ed25519_verify(const Ed25519PublicKey& key, const Ed25519Signature& signature,
                    std::string_view message) {
  const Key point(EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, key.data(), key.size()));
  const Context context(EVP_MD_CTX_new());
  require(point != nullptr && context != nullptr &&
          EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, point.get()) == 1);
  return EVP_DigestVerify(context.get(), signature.data(), signature.size(), data_of(message),
                          message.size()) == 1;
}

}  // namespace zendro::framework
