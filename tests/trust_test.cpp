// Lists, stores and folders that mean harm: nothing outside the folder of a package is touched.
#include <thread>

#include "app/options.h"
#include "framework/lock_file.h"
#include "tests/links.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class TrustTest : public ManagerTest {
 protected:
  static TestPackage package(const std::string& type, const std::string& folder) {
    return {"a-1.0.0", {{"m.zip", "x"}}, {}, {}, {{"_type", type}, {"_pkg_installdir", folder}}};
  }
};

TEST_F(TrustTest, FolderNamesThatLeadElsewhereAreRefusedEverywhere) {
  const std::pair<const char*, const char*> places[] = {{"..", "a"},
                                                        {"xsd", ".."},
                                                        {"xsd", "../../up"},
                                                        {"", "a"},
                                                        {"xsd", ""},
                                                        {".", "a"},
                                                        {"xsd", "."},
                                                        {"xsd", "/etc"},
                                                        {"a/b", "c"},
                                                        {"xsd", "a\\b"},
                                                        {"C:", "a"},
                                                        {"xsd", "a:b"},
                                                        {"xsd", "a\nb"},
                                                        {"xsd", "con"},
                                                        {"xsd", "NUL.txt"},
                                                        {"xsd", "a."},
                                                        {"xsd", "a "},
                                                        {"xsd", "a*"},
                                                        {".xsd_cache", "logs"},
                                                        {".XSD_CACHE", "x"}};
  for (const auto& [type, folder] : places) {
    const TestPackage hostile = package(type, folder);
    publish({hostile});
    fs::remove_all(folder_ / "pkgs");
    ASSERT_TRUE(cache().update_store_information(true));
    const auto before = snapshot();
    EXPECT_FALSE(cache().install({"a"})) << type << " " << folder;
    const std::string place = std::string("$/pkgs/") + type + "/" + folder + "/";
    std::vector<std::string> messages = take_messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0].starts_with("create_folder path=$/pkgs/")) << messages[0];
    EXPECT_EQ(snapshot(), before) << type << " " << folder;

    const std::string file = (folder_ / "x.zendro_xmlschemas").string();
    write_text(file, make_zip({{"ZENDROPKG-INF/pkg-meta.json",
                                json::serialize(json::object{{"a-1.0.0", hostile.meta()}})},
                               {"m.zip", "x"}}));
    EXPECT_FALSE(cache().read_package_file(file));
    ASSERT_EQ(take_messages().size(), 1u);

    // On uninstall all packages are checked before the first is deleted.
    const TestPackage good{"b-1.0.0", {{"b.zip", "b"}}};
    write_text(package_folder("b-1.0.0") / "b.zip", "b");
    write_text(
        cache_file("pkgs-installed.json"),
        json::serialize(json::object{{"a-1.0.0", hostile.meta()}, {"b-1.0.0", good.meta()}}));
    publish({hostile, good}, 2);
    ASSERT_TRUE(cache().update_store_information(true));
    const auto installed_state = snapshot();
    EXPECT_FALSE(cache().uninstall({"b", "a"}));
    messages = take_messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0].starts_with("delete_pkg_folder ")) << messages[0];
    EXPECT_EQ(snapshot(), installed_state) << type << " " << folder;
  }
}

TEST_F(TrustTest, ACacheAmongPackagesIsNoPackage) {
  set_option(app::option::cache_root, (folder_ / "pkgs" / "xsd" / "cache" / "of").string().c_str());
  publish({{"good-1.0.0", {{"m.zip", "x"}}}});
  ASSERT_TRUE(cache().update_store_information(true));
  int build = 2;
  for (const char* const folder : {"cache", "CACHE"}) {
    publish({{"good-1.0.0", {{"m.zip", "x"}}}, package("xsd", folder)}, build++);
    ASSERT_TRUE(cache().update_store_information(true));
    EXPECT_FALSE(cache().install({"good", "a"}));
    EXPECT_THAT(take_messages(),
                ElementsAre(std::string("create_folder path=$/pkgs/xsd/") + folder + "/"));
  }
  EXPECT_TRUE(cache().install({"good"}));
}

TEST_F(TrustTest, AFolderBelongsToOnePackageName) {
  const TestPackage good{"good-1.0.0", {{"m.zip", "good"}}};
  TestPackage evil{"evil-1.0.0", {{"m.zip", "evil"}}, {}, {}, {{"_pkg_installdir", "good-1.0.0"}}};
  start_with({good, evil});
  server_.serve("/store/m.zip", demo::Reply::bytes("good"));
  EXPECT_FALSE(cache().install({"good", "evil"}));
  EXPECT_THAT(take_messages(), ElementsAre("create_folder path=$/pkgs/xsd/good-1.0.0/"));
  EXPECT_FALSE(fs::exists(package_folder("good-1.0.0")));
  ASSERT_TRUE(cache().install({"good"}));
  const auto before = snapshot();
  EXPECT_FALSE(cache().install({"evil"}));
  EXPECT_THAT(take_messages(), ElementsAre("create_folder path=$/pkgs/xsd/good-1.0.0/"));
  // Nor may one type reach into the folders of the other.
  evil.more = {{"_type", "XBRL"}};
  publish({good, evil}, 2);
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_FALSE(cache().install({"evil"}));
  EXPECT_THAT(take_messages(), ElementsAre("create_folder path=$/pkgs/XBRL/evil-1.0.0/"));
  EXPECT_THAT(installed(), ElementsAre("good-1.0.0"));
  EXPECT_EQ(file_text(package_folder("good-1.0.0") / "m.zip"), "good");
}

TEST_F(TrustTest, ABadEntryOfTheInstalledListIsNamed) {
  start_with({{"a-1.0.0", {}}});
  write_text(cache_file("pkgs-installed.json"),
             R"({"old-1.0.0":{"_type":"xsd","_pkg_installdir":"old","catalogs":5}})");
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(texts().front(), testing::EndsWith("old-1.0.0: Cannot cast value to JSON map!"));
  EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-installed.json",
                                           "update_cache_catalog pkgtype=XML Schema"));
}

TEST_F(TrustTest, LinksAreNeverFollowed) {
  start_with({{"a-1.0.0", {{"m.zip", "x"}}}});
  const fs::path outside = folder_ / "outside";
  write_text(outside / "a-1.0.0" / "precious", "p");
  const auto expect_refused = [&](const char* install_message, const char* uninstall_message) {
    const auto before = snapshot();
    EXPECT_FALSE(cache().install({"a"}));
    EXPECT_THAT(take_messages(), Contains(testing::StartsWith(install_message)));
    write_text(cache_file("pkgs-installed.json"),
               json::serialize(json::object{{"a-1.0.0", TestPackage{"a-1.0.0", {}}.meta()}}));
    EXPECT_FALSE(cache().uninstall({"a"}));
    EXPECT_THAT(take_messages(), ElementsAre(testing::StartsWith(uninstall_message)));
    fs::remove(cache_file("pkgs-installed.json"));
    EXPECT_EQ(snapshot(), before);
  };
  if (!make_folder_link(outside, folder_ / "pkgs" / "xsd")) {
    GTEST_SKIP() << "Wine 8 makes no junctions";
  }
  expect_refused("create_folder path=$/pkgs/xsd/a-1.0.0/", "delete_pkg_folder ");
  fs::remove(folder_ / "pkgs" / "xsd");
  fs::create_directories(folder_ / "pkgs" / "xsd");
  ASSERT_TRUE(make_folder_link(outside / "a-1.0.0", package_folder("a-1.0.0")));
  expect_refused("create_folder path=$/pkgs/xsd/a-1.0.0/", "delete_pkg_folder ");
  fs::remove(package_folder("a-1.0.0"));
  // In a package a link is deleted as itself.
  ASSERT_TRUE(cache().install({"a"}));
  ASSERT_TRUE(make_folder_link(outside, package_folder("a-1.0.0") / "zlink"));
  take_log();
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_THAT(take_log(), Contains("Delete file $/pkgs/xsd/a-1.0.0/zlink."));
  EXPECT_EQ(file_text(outside / "a-1.0.0" / "precious"), "p");
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0")));
}

TEST_F(TrustTest, AHardLinkKeepsItsOtherName) {
  start_with({{"a-1.0.0", {{"m.zip", "x"}}}});
  write_text(folder_ / "precious", "p");
  fs::create_directories(package_folder("a-1.0.0"));
  fs::create_hard_link(folder_ / "precious", package_folder("a-1.0.0") / "m.zip");
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_EQ(file_text(folder_ / "precious"), "p");
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "m.zip"), "x");
}

TEST_F(TrustTest, MemberNamesStayInsideTheFolder) {
  TestPackage hostile{"a-1.0.0", {{"..", "x"}, {"../../up.zip", "x"}, {"/abs.zip", "x"}}};
  start_with({hostile});
  server_.serve("/up.zip", demo::Reply::bytes("x"));
  server_.serve("/abs.zip", demo::Reply::bytes("x"));
  server_.serve("/", demo::Reply::bytes("x"));
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), Contains("download_pkg pkg=a-1.0.0 pkgtype=XML Schema"));
  for (const auto& [path, text] : snapshot()) {
    EXPECT_TRUE(path.starts_with("pkgs/.xsd_cache/") || path.starts_with("pkgs/xsd/a-1.0.0/"))
        << path;
  }
}

TEST_F(TrustTest, TextsOfTheStoreStayOnTheirLine) {
  const std::string identity = "a\n2026-01-01T00:00:00 PKG Install everything.\x1b[31m-1.0.0";
  publish_document(
      json::serialize(json::object{{identity, {{"_type", "xsd"}, {"_pkg_installdir", "a"}}}}));
  ASSERT_TRUE(cache().update_store_information(true));
  take_log();
  EXPECT_TRUE(cache().install({identity}));
  for (const std::string& line : take_log()) {
    EXPECT_EQ(line.find_first_of("\n\r\x1b"), std::string::npos) << line;
  }
}

TEST_F(TrustTest, WholeOperationsWaitForEachOther) {
  start_with({{"a-1.0.0", {{"a.zip", "a"}}}, {"b-1.0.0", {{"b.zip", "b"}}}});
  // Two managers install at once; without the lock one of the lists would be lost.
  server_.set_fault("/store/a.zip", demo::Fault::late(std::chrono::milliseconds(200)));
  pkg::pkg_cache_t other = silent_cache();
  std::thread first([&] { EXPECT_TRUE(cache().install({"a"})); });
  while (server_.request_count("/store/a.zip") == 0) std::this_thread::yield();
  EXPECT_TRUE(other.install({"b"}));
  first.join();
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "b-1.0.0"));
}

TEST_F(TrustTest, AThrowingSinkEndsTheOperationOnly) {
  start_with({});
  int calls = 0;
  cache().set_message_sink([&calls](const msg::Message&) {
    if (++calls == 1) throw std::runtime_error("the window is gone");
  });
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_EQ(calls, 2);
  EXPECT_FALSE(cache().install({}));
}

}  // namespace
}  // namespace zendro::tests
