// What only POSIX systems can put in the way of an operation.
#include <sys/resource.h>

#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
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

// No room for the catalogs, which are larger than the lists.
TEST_F(TrustPosixTest, ACatalogThatCannotBeUpdatedIsReportedAndKept) {
  start_with({{"a-1.0.0", {}}});
  const std::string before = file_text(cache_file("namespace-mapping-catalog.xml"));
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const rlimit small{before.size() - 1, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const bool installed_all = cache().install({"a"});
  setrlimit(RLIMIT_FSIZE, &usual);
  EXPECT_FALSE(installed_all);
  EXPECT_THAT(take_messages(), ElementsAre("io_error", "write_file path=$/pkgs/.xsd_cache",
                                           "update_cache_catalog pkgtype=XML Schema"));
  EXPECT_EQ(file_text(cache_file("namespace-mapping-catalog.xml")), before);
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0"));
}

}  // namespace
}  // namespace zendro::tests
