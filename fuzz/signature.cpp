// Documents in minisign's format: of signatures, public keys and secret keys. The input is
// "<signature>\0<public keys>\0<secret key>".
#include "framework/sign/signature.h"

#include <string>

#include "framework/sign/base64.h"

#include "fuzz/input.h"

namespace zendro::fuzz {
namespace {

using framework::SecretKey;
using framework::SecretKeyDocument;

constexpr std::string_view kSigned = "bytes";
constexpr std::string_view kComment = "a comment";

// A key that every run has, so that what is learnt of its signatures holds in the next one.
SecretKey fixed_key() {
  SecretKey key;
  key.id.fill(1);
  key.seed.fill(2);
  return key;
}

// The lines that are proved: all but the untrusted comment.
std::string proved_lines(std::string_view document) {
  std::string lines;
  std::size_t number = 0;
  for (std::string_view line : split(document, '\n', 4)) {
    while (line.ends_with('\r')) line.remove_suffix(1);
    if (number++ > 0) lines += std::string(line) + "\n";
  }
  return lines;
}

void check_signature(std::string_view document) {
  static const SecretKey key = fixed_key();
  static const std::string genuine = framework::make_signature(kSigned, key, kComment);
  const auto verified = framework::verify_signature(document, kSigned, {key.public_key()});
  require(!verified || proved_lines(document) == proved_lines(genuine),
          "only what the key has signed is verified");
  require(
      framework::verify_signature(genuine, kSigned, {key.public_key()}) == std::string(kComment),
      "what the key has signed is verified");
  require(verified || !verified.error().empty(), "a refusal has its reason");
}

void check_public_keys(std::string_view text) {
  const auto keys = framework::parse_public_keys(text);
  if (!keys) return;
  std::string again;
  for (const framework::PublicKey& key : *keys) {
    again += framework::key_document(key) + framework::key_line(key) + "\n";
    require(text.find(framework::key_line(key)) != std::string_view::npos,
            "a key is written as it was read");
  }
  require(framework::parse_public_keys(again).value().size() == 2 * keys->size(),
          "keys that were written are read");
  static_cast<void>(framework::verify_signature("", "", *keys));
}

void check_secret_key(std::string_view text) {
  const auto document = SecretKeyDocument::parse(text);
  if (!document || document->needs_password()) return;
  const auto key = document->open("");
  if (!key) return;
  const auto again = SecretKeyDocument::parse(framework::secret_key_document(*key, {}).value());
  require(again.value().open("").value().seed == key->seed, "a key is written as it was read");
}

void check_base64(std::string_view text) {
  const auto bytes = framework::decode_base64(text);
  require(!bytes || framework::encode_base64(*bytes) == text, "encode(decode(x)) == x");
  require(framework::decode_base64(framework::encode_base64(text)) == text,
          "decode(encode(x)) == x");
}

void run(std::string_view input) {
  const auto parts = split(input, '\0', 3);
  check_signature(parts[0]);
  if (parts.size() > 1) check_public_keys(parts[1]);
  if (parts.size() > 2) check_secret_key(parts[2]);
  check_base64(input);
}

}  // namespace
}  // namespace zendro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zendro::fuzz::run(zendro::fuzz::text_of(data, size));
  return 0;
}
