#include "framework/sign/signature.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "framework/sign/base64.h"
#include "framework/sign/blake2b.h"
#include "framework/sign/document_lines.h"

namespace zendro::framework {
namespace {

using Reason = tl::unexpected<std::string>;

struct Signature {
  bool is_hashed = false;
  KeyId key_id{};
  Ed25519Signature of_file{};
  std::string trusted_comment;
  Ed25519Signature of_comment{};
};

Reason no_signature(std::string_view reason) {
  return Reason("no signature of minisign: " + std::string(reason));
}

// What the second signature is over.
std::string signed_comment(const Signature& signature) {
  return std::string(bytes_of(signature.of_file)) + signature.trusted_comment;
}

tl::expected<Signature, std::string> parse(std::string_view document) {
  if (document.size() > kSignatureLimit) {
    return no_signature("it has more than " + std::to_string(kSignatureLimit) + " bytes");
  }
  if (!take_line(document).starts_with(kUntrustedComment)) {
    return no_signature("line 1 does not begin with \"untrusted comment: \"");
  }
  Signature signature;
  const std::optional<std::string> file = decode_base64(take_line(document));
  const std::size_t size =
      kPlainAlgorithm.size() + signature.key_id.size() + signature.of_file.size();
  if (!file || file->size() != size) return no_signature("line 2 is not the base64 of one");
  signature.is_hashed = file->starts_with(kHashedAlgorithm);
  if (!signature.is_hashed && !file->starts_with(kPlainAlgorithm)) {
    return no_signature("line 2 names an algorithm other than Ed25519");
  }
  std::string_view bytes = *file;
  bytes.remove_prefix(kPlainAlgorithm.size());
  take_bytes(bytes, signature.key_id);
  take_bytes(bytes, signature.of_file);

  const std::string_view comment = take_line(document);
  if (!comment.starts_with(kTrustedComment)) {
    return no_signature("line 3 does not begin with \"trusted comment: \"");
  }
  signature.trusted_comment = comment.substr(kTrustedComment.size());
  const std::optional<std::string> whole = decode_base64(take_line(document));
  if (!whole || whole->size() != signature.of_comment.size()) {
    return no_signature("line 4 is not the base64 of the trusted comment's signature");
  }
  bytes = *whole;
  take_bytes(bytes, signature.of_comment);
  return signature;
}

std::string ids_of(const std::vector<PublicKey>& keys) {
  std::string ids;
  for (const PublicKey& key : keys) ids += (ids.empty() ? "" : ", ") + to_hex(key.id);
  return ids;
}

}  // namespace

tl::expected<std::string, std::string> verify_signature(std::string_view document,
                                                        std::string_view bytes,
                                                        const std::vector<PublicKey>& keys) {
  tl::expected<Signature, std::string> signature = parse(document);
  if (!signature) return Reason(signature.error());
  const std::string hash = signature->is_hashed ? blake2b_512(bytes) : std::string();
  const std::string_view message = signature->is_hashed ? hash : bytes;
  const auto has_id = [&](const PublicKey& key) { return key.id == signature->key_id; };
  const auto has_signed = [&](const PublicKey& key) {
    return has_id(key) && ed25519_verify(key.point, signature->of_file, message);
  };
  if (std::none_of(keys.begin(), keys.end(), has_id)) {
    return Reason("signed with key " + to_hex(signature->key_id) +
                  ", which is none of those trusted: " + ids_of(keys));
  }
  const auto key = std::find_if(keys.begin(), keys.end(), has_signed);
  if (key == keys.end()) {
    return Reason("the signature of key " + to_hex(signature->key_id) + " is not for these bytes");
  }
  if (!ed25519_verify(key->point, signature->of_comment, signed_comment(*signature))) {
    return Reason("the trusted comment is not the one that key " + to_hex(key->id) + " has signed");
  }
  return std::move(signature->trusted_comment);
}

std::string make_signature(std::string_view bytes, const SecretKey& key,
                           std::string_view trusted_comment) {
  Signature signature;
  signature.trusted_comment = trusted_comment;
  signature.of_file = ed25519_sign(key.seed, blake2b_512(bytes));
  std::string first(kHashedAlgorithm);
  first += bytes_of(key.id);
  first += bytes_of(signature.of_file);
  const Ed25519Signature second = ed25519_sign(key.seed, signed_comment(signature));
  std::string document(kUntrustedComment);
  document += "signature from minisign secret key\n" + encode_base64(first) + "\n";
  document += std::string(kTrustedComment) + signature.trusted_comment + "\n";
  return document + encode_base64(bytes_of(second)) + "\n";
}

}  // namespace zendro::framework
