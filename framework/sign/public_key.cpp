#include "framework/sign/public_key.h"

#include <algorithm>
#include <optional>

#include "framework/sign/base64.h"
#include "framework/sign/document_lines.h"

namespace zendro::framework {
namespace {

// No more of a text that is none is shown.
constexpr std::size_t kShown = 80;

std::optional<PublicKey> key_of(std::string_view word) {
  PublicKey key;
  const std::optional<std::string> decoded = decode_base64(word);
  const std::size_t size = kPlainAlgorithm.size() + key.id.size() + key.point.size();
  if (!decoded || decoded->size() != size || !decoded->starts_with(kPlainAlgorithm)) {
    return std::nullopt;
  }
  std::string_view bytes = *decoded;
  bytes.remove_prefix(kPlainAlgorithm.size());
  take_bytes(bytes, key.id);
  take_bytes(bytes, key.point);
  return key;
}

// Takes the next word off a line; empty behind the last one.
std::string_view take_word(std::string_view& line) {
  constexpr std::string_view blanks = " \t";
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  const std::string_view word = line.substr(0, line.find_first_of(blanks));
  line.remove_prefix(word.size());
  return word;
}

}  // namespace

std::string to_hex(const KeyId& id) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (auto byte = id.rbegin(); byte != id.rend(); ++byte) {
    text += digits[*byte >> 4];
    text += digits[*byte & 0xF];
  }
  return text;
}

tl::expected<std::vector<PublicKey>, std::string> parse_public_keys(std::string_view text) {
  std::vector<PublicKey> keys;
  while (!text.empty()) {
    std::string_view line = take_line(text);
    if (line.starts_with(kUntrustedComment)) continue;
    for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
      const std::optional<PublicKey> key = key_of(word);
      if (!key) {
        return tl::unexpected("\"" + std::string(word.substr(0, kShown)) +
                              "\" is no public key of minisign (56 characters that begin with RW)");
      }
      keys.push_back(*key);
    }
  }
  if (keys.empty()) return tl::unexpected(std::string("there is no public key"));
  return keys;
}

std::string key_line(const PublicKey& key) {
  std::string bytes(kPlainAlgorithm);
  bytes += bytes_of(key.id);
  bytes += bytes_of(key.point);
  return encode_base64(bytes);
}

std::string key_document(const PublicKey& key) {
  return std::string(kUntrustedComment) + "minisign public key " + to_hex(key.id) + "\n" +
         key_line(key) + "\n";
}

}  // namespace zendro::framework
