// Removing packages: what is selected, what stays, what is deleted.
#include <map>

#include "app/options/options.h"
#include "tests/manager_fixture.h"
#include "tests/stopwatch.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class UninstallTest : public ManagerTest {
 protected:
  void install_all(const std::vector<TestPackage>& packages) {
    start_with(packages);
    std::vector<std::string> filters;
    for (const TestPackage& one : packages) filters.push_back(one.identity);
    ASSERT_TRUE(cache().install(filters));
    take_log();
  }
};

TEST_F(UninstallTest, NeedsACacheAndSomethingThatIsInstalled) {
  EXPECT_FALSE(cache().uninstall({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("not_initialized pkgtype=XML Schema"));
  install_all({package_of_one_member("a-1.0.0")});
  const auto before = snapshot();
  EXPECT_FALSE(cache().uninstall({"b", "a-2"}));
  EXPECT_THAT(take_log(), ElementsAre("XML Schema b is not installed - ignored.",
                                      "XML Schema a-2 is not installed - ignored."));
  EXPECT_THAT(take_messages(), ElementsAre("no_pkgs_to_remove pkgtypes=XML Schemas"));
  cache().set_plan_sink([](const pkg::plan_t&) { return false; });
  EXPECT_FALSE(cache().uninstall({"a"})) << "nobody agrees";
  EXPECT_EQ(snapshot(), before);
}

TEST_F(UninstallTest, DeletesFoldersRecordsAndRewritesTheCatalogs) {
  TestPackage a = package_of_one_member("a-1.0.0");
  a.more["catalogs"] = {{"http://a.example/a.xsd", "a-1.0.0.zip|zip/a.xsd"}};
  install_all({a, package_of_one_member("b-1.0.0")});
  EXPECT_THAT(file_text(cache_file("catalog.xml")), testing::HasSubstr("a.example"));
  write_text(package_folder("a-1.0.0") / "sub" / "extra.txt", "put there by somebody");
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_THAT(
      take_log(),
      ElementsAre("Uninstall a-1.0.0.", "Delete file $/pkgs/xsd/a-1.0.0/a-1.0.0.zip.",
                  "Delete file $/pkgs/xsd/a-1.0.0/sub/extra.txt.",
                  "Delete folder $/pkgs/xsd/a-1.0.0/sub.", "Delete folder $/pkgs/xsd/a-1.0.0/."));
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0")));
  EXPECT_THAT(installed(), ElementsAre("b-1.0.0"));
  EXPECT_THAT(file_text(cache_file("catalog.xml")), testing::Not(testing::HasSubstr("a.example")));

  fs::remove_all(package_folder("b-1.0.0"));  // gone already: said, but no error
  EXPECT_TRUE(cache().uninstall({"b-1"}));
  EXPECT_THAT(take_log(),
              ElementsAre("Uninstall b-1.0.0.", "Can't delete folder $/pkgs/xsd/b-1.0.0/."));
  EXPECT_THAT(installed(), IsEmpty());
}

// Deletes what the next line would be about as soon as a line is logged.
class Rival : public msg::LogHandler {
 public:
  explicit Rival(std::map<std::wstring, fs::path> victims) : victims_(std::move(victims)) {}
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view line) override {
    lines_.emplace_back(line.substr(line.find(L"PKG ") + 4));
    for (const auto& [end, victim] : victims_) {
      if (line.ends_with(end)) fs::remove_all(victim);
    }
  }
  [[nodiscard]] const std::vector<std::wstring>& lines() const { return lines_; }

 private:
  std::map<std::wstring, fs::path> victims_;
  std::vector<std::wstring> lines_;
};

TEST_F(UninstallTest, WhatSomebodyElseDeletesMeanwhileIsNoError) {
  install_all({package_of_one_member("a-1.0.0")});
  const fs::path folder = package_folder("a-1.0.0");
  write_text(folder / "b.txt", "put there by somebody");
  write_text(folder / "c" / "d.txt", "the same");
  const auto rival = std::make_shared<Rival>(std::map<std::wstring, fs::path>{
      {L"a-1.0.0.zip.", folder / "b.txt"}, {L"d.txt.", folder / "c"}, {L"c.", folder}});
  auto log = std::make_shared<msg::Logger>();
  log->add_handler(rival);
  cache().set_log_sink(log);
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  const std::wstring path = (folder / "").wstring();
  EXPECT_THAT(
      rival->lines(),
      ElementsAre(L"Uninstall a-1.0.0.", L"Delete file " + path + L"a-1.0.0.zip.",
                  L"Can't delete file " + path + L"b.txt.",
                  L"Delete file " + (folder / "c" / "d.txt").wstring() + L".",
                  L"Can't delete folder " + path + L"c.", L"Can't delete folder " + path + L"."));
  EXPECT_THAT(installed(), IsEmpty());
}

// A filter selects by any part of the name: "ogc-wms" takes "ogc-wms-dtd" along.
TEST_F(UninstallTest, SelectsByPartOfTheNameAndGivenVersionParts) {
  install_all({package_of_one_member("ogc-wms-1.1.0"), package_of_one_member("OGC-WMS-dtd-1.0.0"),
               package_of_one_member("ogc-wms-2.0.0"), package_of_one_member("ogc-wfs-1.0.0")});
  EXPECT_TRUE(cache().uninstall({"ogc-wms-1"}));
  EXPECT_THAT(installed(), ElementsAre("ogc-wfs-1.0.0", "ogc-wms-2.0.0"));
  EXPECT_TRUE(cache().uninstall({"GC-W"}));
  EXPECT_THAT(installed(), IsEmpty());
}

TEST_F(UninstallTest, TakesReferencesAlongUnlessToldToKeepThem) {
  const std::vector<TestPackage> packages = {
      package_of_one_member("a-1.0.0", {"b", "gone"}), package_of_one_member("b-1.0.0", {"c-1"}),
      package_of_one_member("c-1.0.0"), package_of_one_member("gone-1.0.0")};
  install_all(packages);
  set_option(app::option::keep_references, true);
  EXPECT_TRUE(cache().uninstall({"gone", "a"}));
  EXPECT_THAT(installed(), ElementsAre("b-1.0.0", "c-1.0.0"));
  set_option(app::option::keep_references, nullptr);
  ASSERT_TRUE(cache().install({"a"}));
  // The list of installed packages forgets one of them behind the program's back.
  std::string list = file_text(cache_file("pkgs-installed.json"));
  const std::size_t at = list.find("\"gone-1.0.0\"");
  list.erase(list.rfind(',', at), list.find('\n', at) - list.rfind(',', at));
  write_text(cache_file("pkgs-installed.json"), list);
  take_log();
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_THAT(take_log(), Contains("No XML Schema information found for gone-1.0.0 - ignored."));
  EXPECT_THAT(installed(), IsEmpty());
  EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(UninstallTest, KeepsWhatARemainingPackageReferences) {
  install_all({package_of_one_member("app-1.0.0", {"lib"}),
               package_of_one_member("tool-1.0.0", {"lib-1"}),
               package_of_one_member("lib-1.0.0", {"base"}), package_of_one_member("base-1.0.0")});
  // lib stays because of tool, and base because of lib.
  EXPECT_TRUE(cache().uninstall({"app"}));
  EXPECT_THAT(take_log(), Contains("XML Schema lib-1.0.0 is still referenced by tool-1.0.0 - "
                                   "ignored."));
  EXPECT_THAT(installed(), ElementsAre("base-1.0.0", "lib-1.0.0", "tool-1.0.0"));
  EXPECT_FALSE(cache().uninstall({"lib"}));
  EXPECT_THAT(take_messages(), ElementsAre("no_pkgs_to_remove pkgtypes=XML Schemas"));
  EXPECT_TRUE(cache().uninstall({"lib", "tool"}));
  EXPECT_THAT(installed(), IsEmpty());
}

TEST_F(UninstallTest, NeedsAnEntryInTheAvailableListADeprecatedOneWillDo) {
  install_all({package_of_one_member("a-1.0.0"), package_of_one_member("b-1.0.0")});
  publish({package_of_one_member("a-2.0.0")}, 2,
          {{"a-1.0.0", package_of_one_member("a-1.0.0").meta()}});
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_FALSE(cache().install({"a-1"}));  // deprecated versions are never chosen
  take_messages();
  // The update has kept the other one, which the store does not list any more.
  const std::string kept = file_text(cache_file("pkgs-available.json"));
  write_text(cache_file("pkgs-available.json"), R"({"a-1.0.0": {}})");
  const auto before = snapshot();
  EXPECT_FALSE(cache().uninstall({"a", "b"}));
  EXPECT_THAT(take_messages(),
              ElementsAre("inst_pkg_not_available pkg=b-1.0.0 pkgtype=XML Schema"));
  EXPECT_EQ(snapshot(), before);
  write_text(cache_file("pkgs-available.json"), kept);
  EXPECT_FALSE(cache().install({"b"}));
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_TRUE(cache().uninstall({"b"}));
  EXPECT_THAT(installed(), IsEmpty());
}

TEST_F(UninstallTest, AFolderThatAnotherPackageLivesInStays) {
  TestPackage first{"a-1.0.1", {{"m.zip", "one"}}};
  TestPackage second{"a-1.0.2", {{"m.zip", "two"}}};
  first.more["_pkg_installdir"] = second.more["_pkg_installdir"] = "a-1.0";
  start_with({first, second});
  server_.serve("/store/m.zip", loopback::Reply::bytes("one"));
  ASSERT_TRUE(cache().install({"a-1.0.1"}));
  server_.serve("/store/m.zip", loopback::Reply::bytes("two"));
  ASSERT_TRUE(cache().install({"a-1.0.2"}));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.2"));
  EXPECT_EQ(file_text(package_folder("a-1.0") / "m.zip"), "two");
}

TEST_F(UninstallTest, AListThatCannotBeWrittenIsReported) {
  install_all({package_of_one_member("a-1.0.0")});
  fs::remove(cache_file("catalog.xml"));
  fs::create_directories(cache_file("catalog.xml"));
  EXPECT_FALSE(cache().uninstall({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("io_error", "create_file path=$/pkgs/.xsd_cache",
                                           "update_cache_catalog pkgtype=XML Schema"));
  EXPECT_THAT(installed(), IsEmpty());
}

TEST_F(UninstallTest, GrowsGentlyWithTheNumberOfPackages) {
  // 2,000 installed packages with ten references each, half of them removed: with a comparison of
  // everything with everything this would take minutes.
  json::object list;
  for (int i = 0; i < 2000; ++i) {
    std::vector<std::string> references;
    for (int j = 1; j <= 10; ++j)
      references.push_back("p" + std::to_string((i * 7 + j) % 2000 + 10'000));
    TestPackage one{"p" + std::to_string(i + 10'000) + "-1.0.0", {}, references};
    list[one.identity] = one.meta();
  }
  write_text(cache_file("pkgs-available.json"), json::serialize(list));
  write_text(cache_file("pkgs-installed.json"), json::serialize(list));
  std::vector<std::string> filters;
  for (int i = 0; i < 1000; ++i) filters.push_back("p" + std::to_string(i * 2 + 10'000) + "-1.0.0");
  set_option(app::option::keep_references, true);
  const Stopwatch stopwatch;
  EXPECT_FALSE(cache().uninstall(filters));  // all are still referenced
  EXPECT_LT(stopwatch.seconds(), 20.0);
  EXPECT_EQ(take_log().size(), 1000u);
}

}  // namespace
}  // namespace zendro::tests
