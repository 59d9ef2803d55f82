// Signatures and keys in minisign's format.
#include "framework/sign/signature.h"

#include <gmock/gmock.h>

#include "framework/sign/base64.h"
#include "framework/sign/blake2b.h"
#include "tests/signed_store.h"

namespace zendro::framework {
namespace {

using testing::HasSubstr;
using namespace tests::signed_store;

std::string reason_of(const std::string& document, const std::string& keys = kKey,
                      const std::string& bytes = archive()) {
  const auto verified = verify_signature(document, bytes, parse_public_keys(keys).value());
  return verified ? "" : verified.error();
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

SecretKey opened(const char* document, std::string_view password = {}) {
  return SecretKeyDocument::parse(document).value().open(password).value();
}

TEST(Signature, WhatMinisignMakesIsVerifiedAndMadeAgain) {
  constexpr char comment[] = "timestamp:1700000000\tfile:pkgs-available.json.zip\tbuild:6\thashed";
  const std::vector<PublicKey> keys = parse_public_keys(kKey).value();
  EXPECT_EQ(verify_signature(kSignature, archive(), keys), comment);
  EXPECT_EQ(verify_signature(kLegacySignature, archive(), keys), "legacy");
  EXPECT_EQ(make_signature(archive(), opened(kSecretKey), comment), kSignature);
  EXPECT_EQ(make_signature(archive(), opened(kOtherSecretKey, "correct horse"), "x"),
            kOtherSignature);
  std::string windows = kSignature;
  for (std::size_t at = 0; (at = windows.find('\n', at)) != std::string::npos; at += 2) {
    windows.insert(at, 1, '\r');
  }
  EXPECT_EQ(reason_of(windows), "");
  EXPECT_EQ(reason_of(std::string(kSignature, sizeof kSignature - 2)), "") << "no last line end";
}

TEST(Signature, WhatIsWrongIsNamed) {
  const std::string good = kSignature;
  const std::pair<std::string, const char*> cases[] = {
      {"", "line 1"},
      {"<html>log in</html>\n", "line 1"},
      {good.substr(good.find('\n') + 1), "line 1"},
      {good.substr(0, good.find('\n') + 1), "line 2"},
      {replaced(good, "RUQu", "RUQ "), "line 2"},
      {replaced(good, "RUQu", "RUQuRUQu"), "line 2"},
      {replaced(good, "Aw=\n", "Ax=\n"), "line 2"},  // bits behind the last byte
      {replaced(good, "RUQu", "RUUu"), "an algorithm other than Ed25519"},
      {replaced(good, "RUQu", "RWQu"), "not for these bytes"},  // as if it were of the file itself
      {replaced(kLegacySignature, "RWQu", "RUQu"), "not for these bytes"},
      {replaced(good, "5n8V", "5n8W"), "not for these bytes"},
      {replaced(good, "\ntrusted comment: ", "\ncomment: "), "line 3"},
      {replaced(good, "build:6", "build:7"), "trusted comment is not the one"},
      {replaced(good, "ZHfK", "ZHfL"), "trusted comment is not the one"},
      {good.substr(0, good.rfind("ZHfK")), "line 4"},
      {good + std::string(kSignatureLimit, '\n'), "more than 4096 bytes"},
      {kOtherSignature, "key A414CE9C634C550C, which is none of those trusted: 23D05679665B672E"}};
  for (const auto& [document, reason] : cases) {
    EXPECT_THAT(reason_of(document), HasSubstr(reason)) << document;
  }
  EXPECT_THAT(reason_of(good, kKey, archive() + " "), HasSubstr("not for these bytes"));
  // Another key that has the same id.
  PublicKey forged = opened(kOtherSecretKey, "correct horse").public_key();
  forged.id = opened(kSecretKey).id;
  EXPECT_THAT(reason_of(good, key_line(forged)), HasSubstr("not for these bytes"));
  EXPECT_EQ(reason_of(good, key_line(forged) + " " + kKey), "");
}

TEST(Signature, KeysAreLinesOrDocumentsAndSeveralAreKeptApart) {
  const std::string document = key_document(opened(kSecretKey).public_key());
  EXPECT_EQ(document,
            std::string("untrusted comment: minisign public key 23D05679665B672E\n") + kKey + "\n");
  const std::string both = document + "\r\n \t" + kOtherKey + " ";
  EXPECT_EQ(parse_public_keys(both).value().size(), 2u);
  EXPECT_EQ(reason_of(kSignature, both), "");
  EXPECT_EQ(reason_of(kOtherSignature, both), "");
  for (const std::string& bad :
       {std::string(), std::string(" \n"), document.substr(0, document.find('\n') + 1),
        std::string(kKey, 55), std::string(kKey) + "=", std::string(kKey) + ", " + kOtherKey,
        std::string(kSecretKey), replaced(kKey, "RW", "RU"), "key.pub " + std::string(kKey)}) {
    EXPECT_FALSE(parse_public_keys(bad)) << bad;
  }
}

TEST(Signature, SecretKeysAreReadAndWrittenWithAndWithoutAPassword) {
  const SecretKey key = SecretKey::generate();
  EXPECT_NE(key.seed, SecretKey::generate().seed);
  const auto plain = SecretKeyDocument::parse(secret_key_document(key, std::nullopt).value());
  EXPECT_FALSE(plain.value().needs_password());
  EXPECT_EQ(plain->open("any").value().seed, key.seed);

  const auto covered = SecretKeyDocument::parse(kOtherSecretKey);
  EXPECT_TRUE(covered.value().needs_password());
  EXPECT_THAT(covered->open("wrong").error(), HasSubstr("password is wrong"));
  EXPECT_EQ(key_line(covered->open("correct horse").value().public_key()), kOtherKey);

  std::string bytes = decode_base64(std::string_view(kSecretKey).substr(49, 212)).value();
  const auto with = [&](std::size_t at, char value) {
    std::string changed = bytes;
    changed[at] = value;
    return SecretKeyDocument::parse("untrusted comment: \n" + encode_base64(changed));
  };
  EXPECT_FALSE(with(0, 'X'));
  EXPECT_FALSE(with(2, 'X'));
  EXPECT_FALSE(with(4, 'X'));
  EXPECT_THAT(with(62, 1).value().open("").error(), HasSubstr("damaged"));
  EXPECT_FALSE(SecretKeyDocument::parse(key_document(key.public_key())));
  // Work without end.
  bytes.replace(2, 2, "Sc");
  EXPECT_THAT(with(45, '\x7F').value().open("").error(), HasSubstr("more work or memory"));
  EXPECT_THAT(with(53, '\x7F').value().open("").error(), HasSubstr("more work or memory"));
}

TEST(Signature, ShortDigestsAreThoseOfTheStandard) {
  // From Python's hashlib: nothing, one block, one block and a byte.
  const std::pair<std::size_t, const char*> cases[] = {
      {0, "DldRwCblQ7Loqy6wYJnaodHl30d3j3eH+qtFzfEv46g="},
      {128, "riqkhQeIXEyVD7gJsgdvlZzen46m2iYNmjWH3zPaxFA="},
      {129, "L2R0Sm3g0sC1bmTPbimlqqJVAQ1BXVHHXMyC9z3M2GU="}};
  for (const auto& [size, digest] : cases) {
    EXPECT_EQ(encode_base64(blake2b_256(std::string(size, 'a'))), digest) << size;
  }
}

}  // namespace
}  // namespace zendro::framework
