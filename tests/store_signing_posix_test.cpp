// Passwords of keys as they are typed, and who may read a secret key.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "framework/sign/secret_key.h"
#include "tests/manager_fixture.h"
#include "tests/signed_store.h"
#include "tests/terminal_posix.h"

namespace zendro::tests {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(StoreSigningTerminal, APasswordIsTypedTwiceUnseen) {
  const TempFolder folder;
  const std::string key = (folder / "key").string();
  const auto keygen = [&](std::string_view first, std::string_view second) {
    Terminal terminal("zendro-store", {"keygen", "--key", key});
    terminal.read_until("Password of ");
    terminal.type(first);
    if (!second.empty()) {
      terminal.read_until("once more: ");
      terminal.type(second);
    }
    const int status = terminal.end();
    EXPECT_THAT(terminal.read_until("P"), Not(HasSubstr("secret")));
    return status;
  };
  EXPECT_EQ(keygen("secret\n", "Secret\n"), 1);
  EXPECT_EQ(keygen("secret\x03", ""), 1);
  EXPECT_FALSE(std::filesystem::exists(key));
  EXPECT_EQ(keygen("sü\becret\n", "secret\n"), 0);

  struct stat status {};
  ASSERT_EQ(stat(key.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  const auto document = framework::SecretKeyDocument::parse(file_text(key));
  EXPECT_TRUE(document.value().needs_password());
  EXPECT_TRUE(document->open("secret"));
}

TEST(StoreSigningTerminal, APasswordIsAskedForToSign) {
  const TempFolder folder;
  write_text(folder / "key", signed_store::kOtherSecretKey);
  write_text(folder / "out/pkgs-available.json.zip", signed_store::archive());
  Terminal terminal("zendro-store", {"sign", folder.path().string() + "/out", "--key",
                                     (folder / "key").string(), "--comment", "x"});
  terminal.read_until("Password of ");
  terminal.type("correct horse\n");
  EXPECT_EQ(terminal.end(), 0);
  EXPECT_EQ(file_text(folder / "out/pkgs-available.json.zip.minisig"),
            signed_store::kOtherSignature);
}

}  // namespace
}  // namespace zendro::tests
