// Keys, and the signature of a tree's list.
#include <gmock/gmock.h>

#include "framework/sign/signature.h"
#include "framework/system/files.h"
#include "tests/environment.h"
#include "tests/manager_fixture.h"
#include "tests/process.h"
#include "tests/signed_store.h"

namespace zendro::tests {
namespace {

using testing::HasSubstr;
using namespace signed_store;

class StoreSigning : public testing::Test {
 protected:
  std::string path(const std::string& name) const {
    return framework::path_to_utf8(folder_ / name);
  }
  static ProcessOutcome run(const std::vector<std::string>& words) {
    return run_process(built_program("zendro-store"), words);
  }

  TempFolder folder_;
};

TEST_F(StoreSigning, ANewKeySignsWhatItsPublicKeyProves) {
  const std::vector<std::string> keygen = {"keygen", "--key", path("key"), "--no-password"};
  const ProcessOutcome made = run(keygen);
  EXPECT_EQ(made.status, 0) << made.err;
  const std::string secret = file_text(folder_ / "key");
  const std::string public_key = file_text(folder_ / "key.pub");
  EXPECT_THAT(made.out, HasSubstr(public_key.substr(public_key.find('\n') + 1, 56)));
  // Neither of the two is replaced unasked.
  EXPECT_THAT(run(keygen).err, HasSubstr("key: stands there already"));
  std::filesystem::remove(folder_ / "key");
  EXPECT_THAT(run(keygen).err, HasSubstr("key.pub: stands there already"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "key"));
  write_text(folder_ / "key", secret);
  EXPECT_EQ(file_text(folder_ / "key.pub"), public_key);

  const std::filesystem::path signature = folder_ / "out/pkgs-available.json.zip.minisig";
  write_text(folder_ / "out/pkgs-available.json.zip", archive());
  set_variable("SOURCE_DATE_EPOCH", "1700000000");
  EXPECT_EQ(run({"sign", path("out"), "--key", path("key")}).status, 0);
  unset_variable("SOURCE_DATE_EPOCH");
  const std::string document = file_text(signature);
  EXPECT_EQ(framework::verify_signature(document, archive(),
                                        framework::parse_public_keys(public_key).value()),
            "timestamp:1700000000\tfile:pkgs-available.json.zip\tbuild:6\thashed");

  EXPECT_EQ(run({"keygen", "--key", path("key"), "--no-password", "--force"}).status, 0);
  EXPECT_NE(file_text(folder_ / "key"), secret);
  EXPECT_EQ(run({"sign", path("out"), "--key", path("key"), "--comment", "ours"}).status, 0);
  EXPECT_EQ(framework::verify_signature(
                file_text(signature), archive(),
                framework::parse_public_keys(file_text(folder_ / "key.pub")).value()),
            "ours");
}

TEST_F(StoreSigning, WhatCannotBeSignedIsNamedAndLeavesTheSignature) {
  write_text(folder_ / "key", kSecretKey);
  write_text(folder_ / "covered", kOtherSecretKey);
  write_text(folder_ / "public", std::string("untrusted comment: x\n") + kKey);
  const std::filesystem::path signature = folder_ / "out/pkgs-available.json.zip.minisig";
  write_text(signature, "the one of before");
  const auto list = [](const char* text) {
    return make_zip({{"pkgs-available.json", std::string(text)}});
  };
  struct Case {
    std::string archive;
    const char* key;
    const char* comment;
    const char* reason;
  };
  const Case cases[] = {{archive(), "public", "", "public: no secret key of minisign: line 2"},
                        {archive(), "missing", "", "missing: "},
                        {archive(), "covered", "", "set ZENDRO_STORE_PASSWORD"},
                        {archive(), "key", "two\nlines", "--comment: write one line"},
                        {"no zip", "key", "", "Not a zip archive"},
                        {list("{"), "key", "", "pkgs-available.json.zip: not JSON"},
                        {list("{}"), "key", "", "has no \"build_number\""},
                        {make_zip({{"other", "{}"}}), "key", "", "holds no such"}};
  for (const Case& now : cases) {
    write_text(folder_ / "out/pkgs-available.json.zip", now.archive);
    const ProcessOutcome outcome =
        run({"sign", path("out"), "--key", path(now.key), "--comment", now.comment});
    EXPECT_EQ(outcome.status, 1) << now.reason;
    EXPECT_THAT(outcome.err, HasSubstr(now.reason));
    EXPECT_EQ(file_text(signature), "the one of before") << now.reason;
  }
  write_text(folder_ / "out/pkgs-available.json.zip", archive());
  set_variable("ZENDRO_STORE_PASSWORD", "wrong");
  EXPECT_THAT(run({"sign", path("out"), "--key", path("covered")}).err,
              HasSubstr("covered: the password is wrong"));
  set_variable("ZENDRO_STORE_PASSWORD", "correct horse");
  EXPECT_EQ(run({"sign", path("out"), "--key", path("covered"), "--comment", "x"}).status, 0);
  unset_variable("ZENDRO_STORE_PASSWORD");
  EXPECT_EQ(file_text(signature), kOtherSignature);
}

}  // namespace
}  // namespace zendro::tests
