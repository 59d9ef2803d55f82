#include "framework/sign/base64.h"

#include <algorithm>

#include <openssl/evp.h>

namespace zendro::framework {
namespace {

// Of text; of bytes three quarters.
constexpr std::size_t kGroup = 4;
constexpr std::size_t kGroupBytes = 3;

}  // namespace

std::string encode_base64(std::string_view bytes) {
  // The library writes a null behind the text.
  std::string text((bytes.size() + kGroupBytes - 1) / kGroupBytes * kGroup + 1, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                  reinterpret_cast<const unsigned char*>(bytes.data()),
                  static_cast<int>(bytes.size()));
  text.pop_back();
  return text;
}

std::optional<std::string> decode_base64(std::string_view text) {
  if (text.size() % kGroup != 0) return std::nullopt;
  std::string bytes(text.size() / kGroup * kGroupBytes, '\0');
  const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                                   reinterpret_cast<const unsigned char*>(text.data()),
                                   static_cast<int>(text.size()));
  if (size < 0) return std::nullopt;
  const auto padding = static_cast<std::size_t>(std::count(text.begin(), text.end(), '='));
  bytes.resize(static_cast<std::size_t>(size) - std::min<std::size_t>(padding, 2));
  // The library also takes blanks and bits behind the last byte.
  if (encode_base64(bytes) != text) return std::nullopt;
  return bytes;
}

}  // namespace zendro::framework
