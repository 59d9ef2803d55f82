// What Windows puts in the way of whole operations.
#include <windows.h>

#include "app/options/options.h"
#include "framework/system/folder.h"
#include "framework/system/handle_win32.h"
#include "tests/cause.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using framework::Handle;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using TrustWin32Test = ManagerTest;

Handle held(const fs::path& path, DWORD sharing) {
  return Handle(
      CreateFileW(path.c_str(), GENERIC_READ, sharing, nullptr, OPEN_EXISTING, 0, nullptr));
}

TEST_F(TrustWin32Test, ListsThatAnotherProgramHoldsStayAsTheyAre) {
  start_with({{"a-1.0.0", {{"a.zip", "a"}}}, {"b-1.0.0", {{"b.zip", "b"}}}});
  ASSERT_TRUE(cache().install({"a"}));
  take_messages();
  const auto before = snapshot();
  const fs::path list = cache_file("pkgs-installed.json");
  {
    const Handle other = held(list, 0);
    ASSERT_TRUE(other);
    EXPECT_FALSE(cache().install({"b"}));
    EXPECT_THAT(texts().front(), HasSubstr("pkgs-installed.json: "));
    EXPECT_THAT(take_messages(), ElementsAre(StartsWith("invalid_pkg_information ")));
    EXPECT_FALSE(fs::exists(package_folder("b-1.0.0")));
  }
  EXPECT_EQ(snapshot(), before);
  {
    const Handle other = held(list, FILE_SHARE_READ);
    EXPECT_FALSE(cache().uninstall({"a"}));
    EXPECT_THAT(texts(), Contains(HasSubstr("pkgs-installed.json: ")));
    EXPECT_THAT(take_messages(), Contains(StartsWith("update_pkgs_installed ")));
  }
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0"));
}

TEST_F(TrustWin32Test, APackageWhoseFileIsInUseStaysInstalled) {
  start_with({{"a-1.0.0", {{"a.zip", "a"}}}});
  ASSERT_TRUE(cache().install({"a"}));
  const fs::path member = package_folder("a-1.0.0") / "a.zip";
  {
    const Handle other = held(member, FILE_SHARE_READ);
    EXPECT_FALSE(cache().uninstall({"a"}));
    EXPECT_THAT(texts().front(), HasSubstr("a.zip: "));
    EXPECT_THAT(take_messages(), ElementsAre(StartsWith("delete_pkg_folder ")));
  }
  EXPECT_EQ(file_text(member), "a");
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0"));
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0")));
}

TEST_F(TrustWin32Test, WhatDiffersInCaseOnlyIsTheSame) {
  start_with({{"good-1.0.0", {{"good.zip", "good"}}},
              {"evil-1.0.0", {{"evil.zip", "evil"}}, {}, {}, {{"_pkg_installdir", "GOOD-1.0.0"}}},
              {"two-1.0.0", {{"M.zip", "one"}, {"m.ZIP", "other"}}}});
  ASSERT_TRUE(cache().install({"good"}));
  EXPECT_FALSE(cache().install({"evil"}));
  EXPECT_THAT(take_messages(), ElementsAre("create_folder path=$/pkgs/xsd/GOOD-1.0.0/"));
  EXPECT_FALSE(cache().install({"two"}));
  EXPECT_THAT(take_messages(), ElementsAre(StartsWith("checksum_invalid ")));
  EXPECT_EQ(file_text(package_folder("two-1.0.0") / "M.zip"), "one");
  // Removing one of two packages that share a folder leaves the folder alone.
  write_text(
      cache_file("pkgs-installed.json"),
      json::serialize(json::object{
          {"good-1.0.0", TestPackage{"good-1.0.0", {}}.meta()},
          {"evil-1.0.0",
           TestPackage{"evil-1.0.0", {}, {}, {}, {{"_pkg_installdir", "GOOD-1.0.0"}}}.meta()}}));
  EXPECT_TRUE(cache().uninstall({"evil"}));
  EXPECT_EQ(file_text(package_folder("good-1.0.0") / "good.zip"), "good");
}

TEST_F(TrustWin32Test, MembersWithImpossibleNamesAreNamed) {
  start_with({{"a-1.0.0", {{"1:b.zip", "x"}}}});
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(texts(), Contains(HasSubstr("'1:b.zip' is no possible name here")));
  EXPECT_THAT(take_messages(), Contains(StartsWith("download_pkg ")));
  EXPECT_TRUE(fs::is_empty(package_folder("a-1.0.0")));
}

// The standard library's removal does not reach as deep.
void empty(const framework::Folder& folder) {
  const auto entries = folder.list();
  ASSERT_TRUE(entries) << cause_of(entries);
  for (const auto& [name, kind] : *entries) {
    const bool is_folder = kind == framework::EntryKind::folder;
    if (is_folder) empty(**folder.open_folder(name));
    EXPECT_EQ(cause_of(is_folder ? folder.remove_folder(name) : folder.remove_file(name)), "");
  }
}

TEST_F(TrustWin32Test, InstallsBelowALongRoot) {
  std::string root = folder_.path().string();
  while (root.size() < 400) root += "\\a folder with a long name 0123456789";
  set_option(app::option::install_root, json::value(root));
  set_option(app::option::cache_root, json::value(root + "\\.xsd_cache"));
  start_with({{"a-1.0.0", {{"a.zip", "a"}}}});
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_THAT(take_log(), Contains(testing::EndsWith("/xsd/a-1.0.0/.")));
  const auto top = framework::Folder::open(folder_.path());
  ASSERT_TRUE(top) << cause_of(top);
  empty(**top);
}

}  // namespace
}  // namespace zendro::tests
