#include "store/keys.h"

#include <optional>
#include <utility>

#include "framework/system/files.h"

#include "store/whole_file.h"

namespace zendro::store {
namespace {

using framework::IoError;
using framework::Result;

constexpr std::uint64_t kKeyLimit = 4096;

IoError error_of(const std::filesystem::path& file, std::string_view reason) {
  return {framework::path_to_utf8(file) + ": " + std::string(reason)};
}

}  // namespace

KeyFiles key_files(const std::filesystem::path& secret) {
  std::filesystem::path public_key = secret;
  public_key += ".pub";
  return {secret, public_key};
}

Result<framework::PublicKey> make_keys(const KeyFiles& files, const PasswordSource& password,
                                       bool replace) {
  for (const auto& file : {files.secret, files.public_key}) {
    if (replace || framework::is_missing(file)) continue;
    return tl::unexpected(error_of(
        file,
        "stands there already. Signatures of a key that is lost cannot be made again: keep "
        "it and choose another --key, or give --force"));
  }
  std::optional<std::string> given;
  if (password) {
    Result<std::string> asked = password();
    if (!asked) return tl::unexpected(std::move(asked.error()));
    given = std::move(*asked);
  }
  const auto key = framework::SecretKey::generate();
  const auto document = framework::secret_key_document(key, given);
  if (!document) return tl::unexpected(error_of(files.secret, document.error()));
  const framework::PublicKey public_key = key.public_key();
  return write_private_file(files.secret, *document)
      .and_then([&] { return write_whole_file(files.public_key, key_document(public_key)); })
      .map([&] { return public_key; });
}

Result<framework::SecretKey> read_secret_key(const std::filesystem::path& file,
                                             const PasswordSource& password) {
  const Result<std::string> text = framework::read_file(file, kKeyLimit);
  if (!text) return tl::unexpected(text.error());
  const auto document = framework::SecretKeyDocument::parse(*text);
  if (!document) return tl::unexpected(error_of(file, document.error()));
  const Result<std::string> given = document->needs_password() ? password() : std::string();
  if (!given) return tl::unexpected(given.error());
  return document->open(*given).map_error(
      [&](const std::string& reason) { return error_of(file, reason); });
}

}  // namespace zendro::store
