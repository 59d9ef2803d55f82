// Lists, stores and folders that mean harm: nothing outside the folder of a package is touched.
#include <thread>

#include "app/options/options.h"
#include "framework/system/lock_file.h"
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
    messages = take_messages();
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0].starts_with("! local_files_left_out ")) << messages[0];
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
  server_.serve("/store/m.zip", loopback::Reply::bytes("good"));
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
  // Where a list says that several live in one, it is that of the one whose identity it bears.
  json::object list = json::parse(file_text(cache_file("pkgs-installed.json"))).as_object();
  for (const char* identity : {"a-1.0.0", "z-1.0.0"}) list[identity] = good.meta();
  write_text(cache_file("pkgs-installed.json"), json::serialize(list));
  TestPackage next{"good-2.0.0", {}, {}, {}, {{"_pkg_installdir", "good-1.0.0"}}};
  publish({good, next}, 3);
  ASSERT_TRUE(cache().update_store_information(true));
  take_messages();
  EXPECT_TRUE(cache().install({"good-2"})) << testing::PrintToString(texts());
}

// A known version keeps the folder that bears its identity, installed or not.
TEST_F(TrustTest, AKnownVersionKeepsItsFolder) {
  struct Folders {
    const char* keeper_folder;  // null: none is named
    const char* wanted;
    bool refused;
    const char* keeper_type = "xsd";
  };
  for (const auto& [keeper_folder, wanted, refused, keeper_type] :
       {Folders{"good-1.0.0", "good-1.0.0", true}, Folders{nullptr, "good-1.0.0", true},
        Folders{"other", "good-1.0.0", false}, Folders{"good-1.0.0", "good-2.0.0", false},
        Folders{"good-1.0.0", "good-1.0.0", false, "shared"},
        // Short names of Windows, and what only looks like one.
        Folders{nullptr, "EVIL-1~1.0", true}, Folders{nullptr, "a~1", true},
        Folders{nullptr, "abcdef~1.xsd", true}, Folders{nullptr, "123", false},
        Folders{nullptr, "abcdef~", false}, Folders{nullptr, "abcdefg~1", false},
        Folders{nullptr, "a~1.xsds", false}, Folders{nullptr, "a~1b", false}}) {
    fs::remove_all(folder_ / "pkgs");
    json::object good = TestPackage{"good-1.0.0", {}}.meta();
    good.erase("_pkg_installdir");
    if (keeper_folder != nullptr) good["_pkg_installdir"] = keeper_folder;
    good["_type"] = keeper_type;
    const json::object evil =
        TestPackage{"evil-1.0.0", {}, {}, {}, {{"_pkg_installdir", wanted}}}.meta();
    publish_document(json::serialize(json::object{{"evil-1.0.0", evil}, {"good-1.0.0", good}}));
    ASSERT_TRUE(cache().update_store_information(true));
    EXPECT_EQ(cache().install({"evil"}), !refused) << wanted;
    EXPECT_EQ(take_messages().size(), refused ? 1U : 0U);
  }
}

// Under a type that is nobody's word the managers of both types have their packages.
TEST_F(TrustTest, ManagersLeaveEachOthersFoldersAlone) {
  TestPackage own{"lib-1.0.0", {{"own.zip", "own"}}, {}, {}, {{"_type", "shared"}}};
  start_with({own, {"a-1.0.0", {}}, {"z-1.0.0", {}}});
  const fs::path other_list = folder_ / "pkgs" / ".cache" / "pkgs-installed.json";
  const fs::path others = folder_ / "pkgs" / "shared" / "lib-1.0.0" / "t.zip";
  const std::string taxonomy = json::serialize(json::object{{"lib-1.0.0", own.meta()}});
  write_text(others, "taxonomy");
  ASSERT_TRUE(cache().install({"lib"}));
  for (const auto& [list, action, message] :
       {std::tuple("{", "uninstall", "delete_pkg_folder "), std::tuple("{", "install", "create_"),
        std::tuple(taxonomy.c_str(), "install", "create_folder path=$/pkgs/shared/lib-1.0.0/"),
        std::tuple(taxonomy.c_str(), "uninstall", "")}) {
    write_text(other_list, list);
    const std::string own_list = file_text(cache_file("pkgs-installed.json"));
    const bool installs = std::string(action) == "install";
    if (installs) write_text(cache_file("pkgs-installed.json"), "{}");
    EXPECT_EQ(installs ? cache().install({"lib"}) : cache().uninstall({"lib"}), *message == 0);
    if (list == taxonomy && installs) {
      EXPECT_THAT(texts().back(), testing::EndsWith("is that of lib-1.0.0 (XBRL Taxonomy)."));
    }
    const std::vector<std::string> messages = take_messages();
    ASSERT_EQ(messages.size(), *message == 0 ? 0U : 1U) << action;
    if (!messages.empty()) {
      EXPECT_THAT(messages[0], testing::StartsWith(message));
    }
    EXPECT_EQ(file_text(others), "taxonomy");
    if (installs) write_text(cache_file("pkgs-installed.json"), own_list);
  }
  write_text(other_list, "{");
  EXPECT_TRUE(cache().install({"a"})) << "nothing shared, nobody asked";
  EXPECT_TRUE(cache().uninstall({"a"}));
  // What another list says of the folders of this type is nothing.
  const json::object liar =
      TestPackage{"liar-1.0.0", {}, {}, {}, {{"_pkg_installdir", "z-1.0.0"}}}.meta();
  write_text(other_list, json::serialize(json::object{{"liar-1.0.0", liar}}));
  // Nobody else decides about shared folders meanwhile.
  const auto pkgs = framework::Folder::open(folder_ / "pkgs");
  bool is_locked = false;
  server_.observe([&](const loopback::ServedRequest& request) {
    if (request.path != "/store/own.zip") return;
    std::stop_source once;
    once.request_stop();
    is_locked = !framework::LockFile::acquire(**pkgs, "shared.lock", "", {once.get_token(), {}});
  });
  fs::remove_all(folder_ / "pkgs" / "shared");
  EXPECT_TRUE(cache().install({"lib", "z"})) << testing::PrintToString(texts());
  EXPECT_TRUE(is_locked);
  server_.observe({});
  ASSERT_TRUE(cache().uninstall({"lib"}));
  EXPECT_FALSE(fs::exists(others.parent_path()));
  // A list that cannot be looked for is no missing one.
  fs::remove_all(other_list.parent_path());
  write_text(other_list.parent_path(), "no folder");
  EXPECT_FALSE(cache().install({"lib"}));
  EXPECT_THAT(take_messages(), ElementsAre("create_folder path=$/pkgs/shared/lib-1.0.0/"));
}

// Whatever the name of a member is, only the store is asked for it.
TEST_F(TrustTest, MembersComeFromTheStoreAlone) {
  loopback::LoopbackServer elsewhere;
  elsewhere.serve("/m.zip", loopback::Reply::bytes("x"));
  const std::string host = server_.url("").substr(std::string("http:").size());
  const std::string with_password = "//u:p@" + host.substr(2) + "store/m.zip";
  server_.serve("/store/m.zip", loopback::Reply::bytes("x"));
  int build = 1;
  for (const auto& [member, cause] :
       {std::pair(elsewhere.url("m.zip"), "scheme, host or port"),
        std::pair(elsewhere.url("m.zip").substr(5), "scheme, host or port"),
        std::pair("https:" + host + "store/m.zip", "scheme, host or port"),
        std::pair(with_password, "a user name or password"),
        std::pair("http:" + host + "store/m.zip", ""), std::pair(host + "store/m.zip", ""),
        std::pair(std::string("/store/m.zip"), "")}) {
    const bool refused = *cause != 0;
    // Windows has no files with a colon in their names.
    const bool has_file =
        fs::path::preferred_separator == '/' || member.find(':') == std::string::npos;
    if (!refused && !has_file) continue;
    publish({{"a-1.0.0", {{"first.zip", "1"}, {member, "x"}, {"last.zip", "2"}}}}, build++);
    ASSERT_TRUE(cache().update_store_information(true));
    fs::remove_all(package_folder("a-1.0.0"));
    const std::size_t asked = server_.request_count("/store/m.zip");
    EXPECT_EQ(cache().install({"a"}), !refused) << member;
    if (refused) {
      ASSERT_EQ(texts().size(), 2U) << member;
      EXPECT_THAT(texts()[0], testing::HasSubstr(cause));
      EXPECT_THAT(texts()[0], testing::HasSubstr("m.zip\""));
      EXPECT_THAT(texts()[0], testing::Not(testing::HasSubstr("u:p")));
    }
    take_messages();
    EXPECT_EQ(server_.request_count("/store/m.zip") == asked, refused) << member;
    EXPECT_THAT(elsewhere.requests(), IsEmpty()) << member;
    if (!refused) {
      ASSERT_TRUE(cache().uninstall({"a"}));
    }
  }
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
  server_.serve("/up.zip", loopback::Reply::bytes("x"));
  server_.serve("/abs.zip", loopback::Reply::bytes("x"));
  server_.serve("/", loopback::Reply::bytes("x"));
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
  server_.set_fault("/store/a.zip", loopback::Fault::late(std::chrono::milliseconds(200)));
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
  const std::vector<pkg::filter_action> pairs = {{"a", pkg::kActionInstall}};
  const std::vector<std::function<bool()>> operations = {
      [&] { return cache().install({"a"}); }, [&] { return cache().uninstall({"a"}); },
      [&] { return cache().apply_changes(pairs); }, [&] { return cache().install_locked("none"); },
      [&] { return cache().update_from_archive("none"); }};
  for (const auto& operation : operations) {
    calls = 0;
    EXPECT_FALSE(operation());
    EXPECT_GE(calls, 2) << "the failure of the sink is told as well";
  }
  EXPECT_FALSE(cache().install({}));
}

}  // namespace
}  // namespace zendro::tests
