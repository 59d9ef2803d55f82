// The keys that sign a store, as files.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "framework/io/io.h"
#include "framework/sign/secret_key.h"

namespace zendro::store {

struct KeyFiles {
  std::filesystem::path secret;
  std::filesystem::path public_key;
};

/// The same with the public key beside the secret one: its name has ".pub" behind it.
KeyFiles key_files(const std::filesystem::path& secret);

/// Gives a password, or why there is none.
using PasswordSource = std::function<framework::Result<std::string>()>;

/// Makes a pair of keys in minisign's format. Only its owner may read the secret one, which is
/// behind a password where there is a source of one. Files that stand there are refused unless
/// `replace`.
framework::Result<framework::PublicKey> make_keys(const KeyFiles& files,
                                                  const PasswordSource& password, bool replace);

/// Reads a secret key, and opens it with the password where it needs one.
framework::Result<framework::SecretKey> read_secret_key(const std::filesystem::path& file,
                                                        const PasswordSource& password);

}  // namespace zendro::store
