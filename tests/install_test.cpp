// Installing packages: what is chosen, refused, replaced, recorded and told.
#include "app/options/options.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// A package with one member of its own.
class InstallTest : public ManagerTest {};

TEST_F(InstallTest, NeedsACacheAndSomethingToInstall) {
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("not_initialized pkgtype=XML Schema"));
  start_with({package_of_one_member("a-1.0.0")});
  const auto before = snapshot();
  EXPECT_FALSE(cache().install({}));
  EXPECT_THAT(take_messages(), ElementsAre("no_pkgs_to_install pkgtypes=XML Schemas"));
  EXPECT_FALSE(cache().install({"a", "b-2.1"}));
  EXPECT_THAT(take_messages(), ElementsAre("pkg_not_available pkg=b-2.1 pkgtype=XML Schema"));
  const std::vector<pkg::filter_action> pairs = {{"b", pkg::kActionUninstall}};
  EXPECT_TRUE(cache().apply(pairs, pkg::kActionInstall));
  EXPECT_FALSE(cache().apply(std::vector<pkg::filter_action>{{"b", 7}}, 7));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_EQ(snapshot(), before);
  write_text(cache_file("pkgs-available.json"), "{");
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-available.json"));
}

TEST_F(InstallTest, InstallsWithReferencesRecordsAndTells) {
  start_with({package_of_one_member("app-1.0.0", {"lib-1", "base"}),
              package_of_one_member("lib-1.0.0"),
              package_of_one_member("lib-1.4.0", {"base-2.0.0"}),
              package_of_one_member("lib-2.0.0"), package_of_one_member("base-2.0.0"),
              package_of_one_member("base-1.0.0"), package_of_one_member("other-1.0.0")});
  set_option(app::option::installer, "tool::edition");
  EXPECT_TRUE(cache().install({"app", "app-1.0.0", "base-2"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  const std::vector<std::string> log = take_log();
  EXPECT_EQ(log[0], "Filter app matched XML Schema app-1.0.0.");
  EXPECT_EQ(log[1], "Filter base-2 matched XML Schema base-2.0.0.");
  EXPECT_EQ(log[2], "Install app-1.0.0, base-2.0.0, lib-1.4.0.");
  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "base-2.0.0", "lib-1.4.0"));
  EXPECT_TRUE(fs::exists(package_folder("lib-1.4.0") / "lib-1.4.0.zip"));
  EXPECT_THAT(
      telemetry(),
      ElementsAre(
          R"({"pkg.installer":"tool::edition","pkg.names":["app-1.0.0","base-2.0.0","lib-1.4.0"]})"));
  const auto requests = server_.requests();
  EXPECT_EQ(requests.back().headers.find("content-type")->second,
            "application/json; charset=utf-8");
  // One bootstrap for each package, one connection for everything.
  EXPECT_EQ(server_.request_count("/bootstrap"), 1u + 3u);

  // The metadata is taken over as the store gave it.
  const json::value list = json::parse(file_text(cache_file("pkgs-installed.json")));
  EXPECT_EQ(list.at("lib-1.4.0"),
            json::value(package_of_one_member("lib-1.4.0", {"base-2.0.0"}).meta()));
}

TEST_F(InstallTest, RefusesAReferenceThatNothingFulfils) {
  start_with({package_of_one_member("a-1.0.0", {"b-2"}), package_of_one_member("b-1.0.0"),
              package_of_one_member("c-1.0.0", {"z", "b-2"}),
              package_of_one_member("d-1.0.0", {"b-2", "b-3"})});
  const auto before = snapshot();
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("pkg_not_available pkg=b-2 pkgtype=XML Schema"));
  EXPECT_EQ(snapshot(), before);
  EXPECT_FALSE(cache().install({"c", "d"}));
  EXPECT_THAT(take_messages(), ElementsAre("pkg_not_available pkg=b-3 pkgtype=XML Schema"))
      << "the first in the order of identities";
}

TEST_F(InstallTest, ReleaseLinesStandSideBySideAndPatchesReplace) {
  start_with({package_of_one_member("a-2.1.1"), package_of_one_member("a-2.1.3"),
              package_of_one_member("a-2.1.5"), package_of_one_member("a-3.0.0")});
  EXPECT_TRUE(cache().install({"a-3"}));
  EXPECT_TRUE(cache().install({"a-2.1.1"}));
  EXPECT_THAT(installed(), ElementsAre("a-3.0.0", "a-2.1.1"));
  take_log();

  EXPECT_TRUE(cache().install({"a-2.1.3"}));
  EXPECT_THAT(installed(), ElementsAre("a-3.0.0", "a-2.1.3"));
  EXPECT_FALSE(fs::exists(package_folder("a-2.1.1")));
  EXPECT_THAT(
      take_log(),
      ElementsAre("Filter a-2.1.3 matched XML Schema a-2.1.3.", "Install a-2.1.3.",
                  "Upgrade from a-2.1.1.", "Create folder $/pkgs/xsd/a-2.1.3/.",
                  "Download from Zendro XML Schema store: a-2.1.3.zip.", "Downloading a-2.1.3.zip.",
                  "Uninstall a-2.1.1.", "Delete file $/pkgs/xsd/a-2.1.1/a-2.1.1.zip.",
                  "Delete folder $/pkgs/xsd/a-2.1.1/."));

  EXPECT_TRUE(cache().install({"a-2.1.5"}));
  take_log();
  take_requests();
  EXPECT_TRUE(cache().install({"a-2.1.3"}));  // older than what is there
  EXPECT_THAT(take_log(), ElementsAre("Filter a-2.1.3 matched XML Schema a-2.1.3.",
                                      "XML Schema a-2.1.3 already installed."));
  EXPECT_THAT(installed(), ElementsAre("a-3.0.0", "a-2.1.5"));
  EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(InstallTest, WithNothingNewListsAndCatalogsAreStillWritten) {
  start_with({package_of_one_member("a-1.0.0"), package_of_one_member("b-1.0.0")});
  EXPECT_TRUE(cache().install({"a", "b"}));
  fs::remove(cache_file("catalog.xml"));
  take_log();
  take_requests();
  EXPECT_TRUE(cache().install({"b", "a"}));
  EXPECT_THAT(take_log(), ElementsAre("Filter b matched XML Schema b-1.0.0.",
                                      "Filter a matched XML Schema a-1.0.0.",
                                      "XML Schemas a-1.0.0, b-1.0.0 already installed."));
  EXPECT_TRUE(fs::exists(cache_file("catalog.xml")));
  EXPECT_THAT(take_requests(), ElementsAre("POST /api/package-manager/v1/telemetry"));
  EXPECT_EQ(telemetry().back(), R"({"pkg.installer":null,"pkg.names":[]})");
}

TEST_F(InstallTest, ConflictsAreRefusedBeforeAnythingIsTouched) {
  start_with({package_of_one_member("a-1.0.0", {}, {"ABC-1", "abc-2"}),
              package_of_one_member("xabcy-1.5.0"), package_of_one_member("abc-2.0.0"),
              package_of_one_member("c-1.0.0", {}, {"xabcy"}),
              package_of_one_member("d-1.0.0", {"c"})});
  const auto before = snapshot();
  // Among the requests any part of the name will do, in any case; the conflict is shown as written.
  EXPECT_FALSE(cache().install({"a", "xabcy"}));
  EXPECT_THAT(take_messages(),
              ElementsAre("pkg_conflict pkg=a-1.0.0 conflict=ABC-1 pkgtypes=XML Schemas"));
  EXPECT_EQ(snapshot(), before);
  // What is installed counts by its exact name only.
  EXPECT_TRUE(cache().install({"xabcy"}));
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_FALSE(cache().install({"d"}));  // through its reference
  EXPECT_THAT(take_messages(), ElementsAre("pkg_conflict_installed pkg=c-1.0.0 "
                                           "conflict=xabcy-1.5.0 pkgtype=XML Schema"));
  EXPECT_TRUE(cache().uninstall({"a"}));
  EXPECT_TRUE(cache().install({"abc-2"}));
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("pkg_conflict_installed pkg=a-1.0.0 "
                                           "conflict=abc-2.0.0 pkgtype=XML Schema"));
}

TEST_F(InstallTest, AFailedDownloadEndsTheRunWithoutRollingBack) {
  start_with({package_of_one_member("a-1.0.0", {"b"}), package_of_one_member("b-1.0.0"),
              package_of_one_member("c-1.0.0")});
  server_.set_fault("/store/b-1.0.0.zip",
                    loopback::Fault::replaced(loopback::Reply::with_status(404)).first(1));
  EXPECT_FALSE(cache().install({"a", "c"}));
  EXPECT_THAT(take_messages(),
              ElementsAre("io_error", "download_pkg pkg=b-1.0.0 pkgtype=XML Schema"));
  EXPECT_TRUE(fs::exists(package_folder("a-1.0.0") / "a-1.0.0.zip"));
  EXPECT_FALSE(fs::exists(package_folder("c-1.0.0")));
  EXPECT_FALSE(fs::exists(cache_file("pkgs-installed.json")));
  EXPECT_THAT(telemetry(), IsEmpty());
  EXPECT_TRUE(cache().install({"a", "c"}));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "b-1.0.0", "c-1.0.0"));
}

// The disk fills up, or goes away, between reading the list and writing it.
TEST_F(InstallTest, AListThatCannotBeWrittenIsReported) {
  start_with({package_of_one_member("a-1.0.0")});
  server_.observe([this](const loopback::ServedRequest& request) {
    if (request.path == "/store/a-1.0.0.zip")
      fs::create_directories(cache_file("pkgs-installed.json"));
  });
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(),
              ElementsAre("io_error", "update_pkgs_installed pkgtypes=XML Schemas"));
  EXPECT_TRUE(fs::exists(package_folder("a-1.0.0") / "a-1.0.0.zip"));
}

TEST_F(InstallTest, TelemetryThatFailsIsOnlyAWarning) {
  start_with({package_of_one_member("a-1.0.0"), package_of_one_member("b-1.0.0"),
              package_of_one_member("c-1.0.0")});
  set_option(app::option::telemetry_url, "ftp://127.0.0.1/telemetry");
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("! access_pkg_store_telemetry pkgtype=XML Schema"));
  set_option(app::option::telemetry_url, "http://127.0.0.1:1/telemetry");
  EXPECT_TRUE(cache().install({"b"}));
  EXPECT_THAT(take_messages(), ElementsAre("! access_pkg_store_telemetry pkgtype=XML Schema"));
  set_option(app::option::telemetry_url, 5);
  EXPECT_TRUE(cache().install({"c"}));
  EXPECT_THAT(take_messages(), ElementsAre("! access_pkg_store_telemetry pkgtype=XML Schema"));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "b-1.0.0", "c-1.0.0"));

  struct BrokenTransport : framework::HttpTransport {
    framework::HttpAnswer get(const framework::HttpRequest&) override {
      return tl::unexpected(framework::IoError{"http://h/telemetry: no answer"});
    }
    framework::PostResult post(const framework::HttpRequest&, std::string_view) override {
      return tl::unexpected(framework::NotSent{{"http://h/telemetry: broken off"}, true});
    }
  };
  set_option(app::option::telemetry_url, "http://h/telemetry");
  cache().set_transport_factory([] { return std::make_unique<BrokenTransport>(); });
  EXPECT_TRUE(cache().install({"c"}));
  EXPECT_THAT(texts().back(), testing::HasSubstr("http://h/telemetry: broken off"));
  EXPECT_THAT(take_messages(), ElementsAre("! update_pkg_store_telemetry pkgtype=XML Schema"));
}

TEST_F(InstallTest, TelemetryIsNotJudgedByItsAnswerAndCanBeSwitchedOff) {
  start_with({package_of_one_member("a-1.0.0"), package_of_one_member("b-1.0.0"),
              package_of_one_member("c-1.0.0")});
  server_.set_fault(
      "/api/package-manager/v1/telemetry",
      loopback::Fault::replaced(loopback::Reply::with_status(500, "<html>oops</html>")));
  EXPECT_TRUE(cache().install({"a"}));
  EXPECT_EQ(telemetry().size(), 1U);
  set_option(app::option::telemetry, false);
  EXPECT_TRUE(cache().install({"b"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_EQ(telemetry().size(), 1U);
  set_option(app::option::telemetry, "no");
  EXPECT_TRUE(cache().install({"c"}));
  EXPECT_THAT(texts().back(), testing::HasSubstr("Cannot convert JSON value to bool!"));
  EXPECT_THAT(take_messages(), ElementsAre("! access_pkg_store_telemetry pkgtype=XML Schema"));
  EXPECT_EQ(telemetry().size(), 1U);
}

TEST_F(InstallTest, ListsThatCannotBeReadOrWrittenStopTheRun) {
  start_with({package_of_one_member("a-1.0.0"), package_of_one_member("b-1.0.0")});
  write_text(cache_file("pkgs-installed.json"), R"({"a-1.0.0": "cut)");
  const auto before = snapshot();
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-installed.json"));
  EXPECT_EQ(snapshot(), before);

  fs::remove(cache_file("pkgs-installed.json"));
  fs::create_directories(cache_file("pkgs-installed.json"));
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                           "path=$/pkgs/.xsd_cache/pkgs-installed.json"));
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0")));

  fs::remove(cache_file("pkgs-installed.json"));
  fs::remove(cache_file("catalog.xml"));
  fs::create_directories(cache_file("catalog.xml"));
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_THAT(take_messages(), ElementsAre("io_error", "create_file path=$/pkgs/.xsd_cache",
                                           "update_cache_catalog pkgtype=XML Schema"));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0"));
}

// A reference that the new level fulfils as well does not hold the old one. One that only the old
// level fulfils does: both stay, and the run goes on to catalogs and telemetry.
TEST_F(InstallTest, AReplacedPatchLevelStaysOnlyForThoseWhoNeedJustThatLevel) {
  TestPackage new_level = package_of_one_member("lib-1.0.2");
  new_level.more["catalogs"] = {{"http://lib.example/", "lib-1.0.2.zip"}};
  for (const char* reference : {"lib", "lib-1", "lib-1.0", "IB-1.0"}) {
    publish({package_of_one_member("lib-1.0.1"), package_of_one_member("app-1.0.0", {reference}),
             package_of_one_member("IB-1.0.0")});
    ASSERT_TRUE(cache().update_store_information(true));
    ASSERT_TRUE(cache().install({"lib-1.0.1", "app"})) << reference;
    publish({package_of_one_member("lib-1.0.1"), new_level,
             package_of_one_member("app-1.0.0", {reference})},
            2);
    ASSERT_TRUE(cache().update_store_information(true));
    EXPECT_TRUE(cache().install({"lib"})) << reference;
    EXPECT_THAT(take_messages(), IsEmpty());
    EXPECT_THAT(installed(), Not(Contains("lib-1.0.1"))) << reference;
    EXPECT_THAT(file_text(cache_file("catalog.xml")), testing::HasSubstr("lib-1.0.2"));
    EXPECT_FALSE(fs::exists(package_folder("lib-1.0.1")));
    ASSERT_TRUE(cache().uninstall({"a", "i"}));
    fs::remove(cache_file("pkgs-available.json"));
  }

  start_with({package_of_one_member("lib-1.0.1"), new_level,
              package_of_one_member("app-1.0.0", {"lib-1.0.1"})});
  ASSERT_TRUE(cache().install({"app"}));
  take_log();
  EXPECT_TRUE(cache().install({"lib-1.0.2"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_EQ(take_log().back(), "XML Schema lib-1.0.1 is still referenced by app-1.0.0 - ignored.");
  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "lib-1.0.2", "lib-1.0.1"));
  EXPECT_TRUE(fs::exists(package_folder("lib-1.0.1")));
  EXPECT_THAT(file_text(cache_file("catalog.xml")), testing::HasSubstr("lib-1.0.2"));
  EXPECT_THAT(telemetry().back(), testing::HasSubstr("lib-1.0.2"));
}

}  // namespace
}  // namespace zendro::tests
