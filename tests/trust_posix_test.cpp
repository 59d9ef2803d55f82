// What only POSIX systems can put in the way of an operation.
#include <sys/stat.h>

#include "pkg/xml_file.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using TrustPosixTest = ManagerTest;

// An installed list that is merely out of reach must not be replaced by one that knows nothing.
TEST_F(TrustPosixTest, AListThatCannotBeLookedAtIsNotAnEmptyOne) {
  start_with({{"a-1.0.0", {{"m.zip", "x"}}}});
  fs::create_symlink("pkgs-installed.json", cache_file("pkgs-installed.json"));  // leads to itself
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-installed.json"));
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0")));
}

// What is not an ordinary file would make a reader wait for ever.
TEST_F(TrustPosixTest, PipesInThePlaceOfFilesAreErrors) {
  start_with({{"a-1.0.0", {{"m.zip", "x"}}}});
  fs::create_directories(package_folder("a-1.0.0"));
  ASSERT_EQ(mkfifo((package_folder("a-1.0.0") / "m.zip").c_str(), 0600), 0);
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), Contains("download_pkg pkg=a-1.0.0 pkgtype=XML Schema"));
  fs::remove(cache_file("catalog.xml"));
  ASSERT_EQ(mkfifo(cache_file("catalog.xml").c_str(), 0600), 0);
  EXPECT_FALSE(cache().update_store_information(true));
  EXPECT_THAT(take_messages(), Contains("create_file path=$/pkgs/.xsd_cache"));
}

TEST_F(TrustPosixTest, ALinkInThePlaceOfAMemberIsRefused) {
  start_with({{"a-1.0.0", {{"m.zip", "x"}}}});
  write_text(folder_ / "precious", "p");
  fs::create_directories(package_folder("a-1.0.0"));
  fs::create_symlink(folder_ / "precious", package_folder("a-1.0.0") / "m.zip");
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), Contains(testing::StartsWith("download_pkg ")));
  EXPECT_EQ(file_text(folder_ / "precious"), "p");
}

TEST(XmlFilePosix, AFileThatTakesNothingIsReported) {
  EXPECT_FALSE(pkg::write_xml_file("x", "/dev/full", nullptr));
}

}  // namespace
}  // namespace zendro::tests
