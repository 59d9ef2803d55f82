// The command-line program: what it writes, how it ends, and what is on disk afterwards.
#include "tests/cli_fixture.h"
#include "tests/lock_at.h"

namespace zendro::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

std::vector<TestPackage> some_packages() {
  TestPackage app = package_of_one_member("app-1.0.0", {"lib-1.0", "base"});
  app.more = {{"title", "Größe \xE2\x80\xAE"}, {"description", "An application"}};
  return {app,
          package_of_one_member("lib-1.0.0"),
          package_of_one_member("lib-1.0.1"),
          package_of_one_member("base-1.0.0"),
          package_of_one_member("wms-1.0.0"),
          package_of_one_member("wms-dtd-1.0.0"),
          package_of_one_member("foe-1.0.0", {}, {"lib"})};
}

TEST_F(CliTest, EachCallHasItsStatusAndItsStreams) {
  publish(some_packages());
  struct Call {
    std::vector<std::string> words;
    int status;
    std::string out;
    std::string err;  // a part
  };
  const std::string app_plan =
      "Will be installed:\n"
      "  app-1.0.0  (asked for)\n"
      "  base-1.0.0  (needed by app-1.0.0)\n"
      "  lib-1.0.1  (needed by app-1.0.0)\n";
  const Call calls[] = {
      {{}, 2, "", "Usage: zendro"},
      {{"fly"}, 2, "", "fly"},
      {{"install"}, 2, "", "filters"},
      {{"-t", "dtd", "list"}, 2, "", "dtd"},
      {{"-q", "list", "-v"}, 2, "", "--quiet"},
      {{"list", "--installed", "--available"}, 2, "", "at most 1"},
      {{"--version"}, 0, "zendro 1.0.0\n", ""},
      {{"list"}, 1, "", "zendro update"},
      {{"list", "--installed"}, 0, "", ""},
      {{"-y", "install", "app"}, 1, "", "error: "},
      {{"-q", "update"}, 0, "", ""},
      {{"install", "unknown"}, 1, "", "error: No information found for XML Schema unknown."},
      {{"install", "foe", "lib", "-y"}, 1, "", "conflict"},
      {{"install", "app", "--dry-run"}, 0, app_plan, ""},
      {{"install", "app"}, 4, app_plan, "-y"},
      {{"-yq", "install", "lib-1.0.0"}, 0, "Will be installed:\n  lib-1.0.0  (asked for)\n", ""},
      {{"list", "--upgradeable"},
       0,
       "name  version  state                             title\n"
       "lib   1.0.0    installed, patch 1.0.1 available\n",
       ""},
      {{"-yq", "upgrade", "base"}, 0, "", ""},
      {{"-yq", "upgrade", "li"},
       0,
       "Will be installed:\n  lib-1.0.1  (asked for, replaces lib-1.0.0)\n",
       ""},
      {{"upgrade"}, 0, "", "No upgrades available."},
      {{"install", "app", "wms-dtd", "wms", "-yq"},
       0,
       "Will be installed:\n"
       "  app-1.0.0  (asked for)\n"
       "  base-1.0.0  (needed by app-1.0.0)\n"
       "  wms-1.0.0  (asked for)\n"
       "  wms-dtd-1.0.0  (asked for)\n"
       "Already there:\n"
       "  lib-1.0.1  (needed by app-1.0.0)\n",
       ""},
      {{"install", "app"},
       0,
       "Already there:\n  app-1.0.0  (asked for)\n  base-1.0.0  (needed by app-1.0.0)\n"
       "  lib-1.0.1  (needed by app-1.0.0)\n",
       "already installed"},
      // A filter takes whatever holds its text.
      {{"uninstall", "wms", "--dry-run"},
       0,
       "Will be uninstalled:\n  wms-1.0.0  (asked for)\n  wms-dtd-1.0.0  (asked for)\n",
       ""},
      {{"uninstall", "lib", "-y"},
       1,
       "Stay:\n  lib-1.0.1  (still referenced by app-1.0.0)\n",
       "No XML Schemas to remove."},
      {{"uninstall", "nothing"}, 0, "", "not installed"},
      {{"search", "APPLICATION"},
       0,
       "name  version  state      title\n"
       "app   1.0.0    installed  Größe <U+202E>\n",
       ""},
      {{"uninstall", "app", "--keep-references", "--dry-run"},
       0,
       "Will be uninstalled:\n  app-1.0.0  (asked for)\n",
       ""},
      {{"uninstall", "app", "-yq"},
       0,
       "Will be uninstalled:\n"
       "  app-1.0.0  (asked for)\n"
       "  base-1.0.0  (needed by nothing that stays)\n"
       "  lib-1.0.1  (needed by nothing that stays)\n",
       ""},
  };
  for (const Call& call : calls) {
    const ProcessOutcome outcome = zendro(call.words);
    SCOPED_TRACE(testing::PrintToString(call.words) + "\n" + outcome.err);
    EXPECT_EQ(outcome.status, call.status);
    EXPECT_EQ(outcome.out, call.out);
    EXPECT_THAT(outcome.err, call.err.empty() ? testing::Matcher<std::string>(IsEmpty())
                                              : testing::Matcher<std::string>(HasSubstr(call.err)));
  }
  EXPECT_THAT(installed(), ElementsAre("wms-1.0.0", "wms-dtd-1.0.0"));
  for (const char* command : {"install", "list", "show", "env"}) {
    EXPECT_THAT(zendro({command, "--help"}).out, HasSubstr("zendro " + std::string(command)));
  }
}

TEST_F(CliTest, NothingIsTouchedUntilSomebodyAgrees) {
  start_with(some_packages());
  const auto before = snapshot();
  for (const char* word : {"--dry-run", "--json"}) zendro({"install", "app", word});
  EXPECT_EQ(snapshot(), before);
  EXPECT_THAT(take_requests(), IsEmpty());
}

TEST_F(CliTest, JsonIsAnObjectALine) {
  start_with(some_packages());
  ASSERT_TRUE(cache().install({"lib-1.0.0"}));
  const auto install = objects({"-y", "-v", "install", "app"}, 0);
  const auto plan = std::find_if(install.begin(), install.end(), [](const json::object& object) {
    return object.at("event") == "plan";
  });
  ASSERT_NE(plan, install.end());
  EXPECT_EQ(json::serialize(plan->at("install")),
            R"([{"package":"app-1.0.0","why":"asked_for"},)"
            R"({"package":"base-1.0.0","why":"needed_by","other":"app-1.0.0"},)"
            R"({"package":"lib-1.0.1","why":"needed_by","other":"app-1.0.0",)"
            R"("replaces":"lib-1.0.0"}])");
  const auto refused = objects({"uninstall", "app"}, 4);
  EXPECT_EQ(refused[1].at("id"), "refused");
  EXPECT_EQ(objects({"install", "gone"}, 1).front().at("id"), "pkg_not_available");

  const json::object listed = objects({"list", "--installed"}, 0).back();
  EXPECT_EQ(listed.at("packages").as_array().size(), 3u);
  EXPECT_EQ(listed.at("packages").at(0).at("title"), "Größe <U+202E>");
  write_text(package_folder("base-1.0.0") / "base-1.0.0.zip", "other");
  const json::object shown = objects({"show", "base"}, 0).back();
  EXPECT_EQ(shown.at("files").at(0).at("state"), "damaged");
  EXPECT_EQ(json::serialize(shown.at("referenced_by")), R"(["app-1.0.0"])");
}

TEST_F(CliTest, ARootOfItsOwnAndWhatToolsAreTold) {
  publish(some_packages());
  const std::string root = framework::path_to_utf8(folder_ / "sp ace \xC3\xBC%");
  ASSERT_EQ(zendro({"--root", root, "update"}).status, 0);
  ASSERT_EQ(zendro({"--root", root, "-y", "install", "base"}).status, 0);
  EXPECT_TRUE(framework::file_exists(framework::path_from_utf8(root + "/.xsd_cache/catalog.xml")));
  EXPECT_TRUE(
      framework::file_exists(framework::path_from_utf8(root + "/xsd/base-1.0.0/base-1.0.0.zip")));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "pkgs"));
  const std::string url = "/sp%20ace%20%C3%BC%25/.xsd_cache/local/catalog.xml'\n";
  EXPECT_THAT(zendro({"--root", root, "env"}).out,
              testing::AllOf(StartsWith("export XML_CATALOG_FILES='file://"), EndsWith(url)));
  EXPECT_THAT(zendro({"--root", root, "env", "--shell", "powershell"}).out,
              testing::AllOf(StartsWith("$env:XML_CATALOG_FILES = 'file://"), EndsWith(url)));
}

TEST_F(CliTest, WhoeverDoesNotWantToWaitIsToldWhomFor) {
  start_with(some_packages());
  framework::IoError error;
  const auto held =
      lock_at(cache_file("operation.lock"), error, R"({"process": 17, "user": "ann", "since": 0})");
  ASSERT_TRUE(held);
  const ProcessOutcome outcome = zendro({"-y", "--no-wait", "install", "base"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("process 17 of ann"));
  EXPECT_THAT(outcome.err, HasSubstr("error: Nothing was done"));
  EXPECT_FALSE(std::filesystem::exists(package_folder("base-1.0.0")));
}

TEST_F(CliTest, OptionsThatCannotBeReadAreNamed) {
  write_text(folder_ / "appdata/Zendro/options.json", "{");
  const ProcessOutcome outcome = zendro({"list"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, StartsWith("error: Can't read options from $/appdata/Zendro/options"));
}

}  // namespace
}  // namespace zendro::tests
