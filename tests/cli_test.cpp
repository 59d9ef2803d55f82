// The command-line program: what it writes, how it ends, and what is on disk afterwards.
#include "app/options/options.h"
#include "framework/io/digest.h"
#include "tests/cli_fixture.h"
#include "tests/lock_at.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<TestPackage> some_packages() {
  TestPackage app = package_of_one_member("app-1.0.0", {"lib-1.0", "base"});
  app.more = {{"title", "Größe \xE2\x80\xAE"}, {"description", "An application"}};
  TestPackage foe = package_of_one_member("foe-1.0.0", {}, {"lib"});
  foe.more = {{"title", "Foe"}, {"homepage", "http://publisher.example/"}};
  return {app,
          package_of_one_member("lib-1.0.0"),
          package_of_one_member("lib-1.0.1"),
          package_of_one_member("base-1.0.0"),
          package_of_one_member("wms-1.0.0"),
          package_of_one_member("wms-dtd-1.0.0"),
          foe};
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
      {{"-y", "install", "app"}, 1, "", "zendro update"},
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
      {{"search", "publisher.ex"},
       0,
       "name  version  state  title\nfoe   1.0.0           Foe\n",
       ""},
      {{"search", "foe-1"}, 0, "name  version  state  title\nfoe   1.0.0           Foe\n", ""},
      {{"search", "FOE"}, 0, "name  version  state  title\nfoe   1.0.0           Foe\n", ""},
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
  const std::string root = framework::path_to_utf8(folder_.path()) + "/sp ace \xC3\xBC%";
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
  const auto held =
      lock_at(cache_file("operation.lock"), R"({"process": 17, "user": "ann", "since": 0})");
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

TEST_F(CliTest, VerifyFindsEachKindOfDamageAndRepairsIt) {
  start_with(some_packages());
  ASSERT_TRUE(cache().install({"app", "wms"}));
  const auto whole = snapshot();
  EXPECT_EQ(zendro({"verify"}).out, "");
  write_text(package_folder("app-1.0.0") / "stranger.txt", "?");
  EXPECT_EQ(zendro({"verify"}).out, "foreign  $/pkgs/xsd/app-1.0.0/stranger.txt\n");
  write_text(package_folder("app-1.0.0") / "app-1.0.0.zip", "bytes of app-1.0.1");
  std::filesystem::remove(package_folder("base-1.0.0") / "base-1.0.0.zip");
  std::filesystem::remove_all(package_folder("lib-1.0.1"));
  std::filesystem::remove(package_folder("wms-1.0.0") / "wms-1.0.0.zip");
  std::filesystem::create_directory(package_folder("wms-1.0.0") / "wms-1.0.0.zip");
  const std::string base = "missing  $/pkgs/xsd/base-1.0.0/base-1.0.0.zip\n";
  const ProcessOutcome found = zendro({"verify"});
  EXPECT_EQ(found.status, 3);
  EXPECT_THAT(found.out, StartsWith("damaged  $/pkgs/xsd/app-1.0.0/app-1.0.0.zip\n"
                                    "foreign  $/pkgs/xsd/app-1.0.0/stranger.txt\n" +
                                    base + "missing  $/pkgs/xsd/lib-1.0.1/lib-1.0.1.zip\n" +
                                    "unreadable  $/pkgs/xsd/wms-1.0.0/wms-1.0.0.zip  ("));
  EXPECT_EQ(objects({"verify"}, 3).back().at("findings").as_array().size(), 5u);
  EXPECT_EQ(zendro({"verify", "base"}).out, base);
  EXPECT_EQ(zendro({"verify", "lib", "app-2"}).status, 3);

  // A folder in a file's place is not ours to delete.
  EXPECT_EQ(zendro({"verify", "--repair"}).status, 1);
  std::filesystem::remove(package_folder("wms-1.0.0") / "wms-1.0.0.zip");
  EXPECT_EQ(zendro({"verify", "--repair"}).status, 0);
  std::filesystem::remove(package_folder("app-1.0.0") / "stranger.txt");
  EXPECT_EQ(snapshot(), whole);

  // A package without files whose folder has gone, and one whose files nobody can read.
  json::object list = json::parse(file_text(cache_file("pkgs-installed.json"))).as_object();
  list["bare-1.0.0"] = TestPackage{"bare-1.0.0", {}}.meta();
  list["odd-1.0.0"] = TestPackage{"odd-1.0.0", {}, {}, {}, {{"files", 5}}}.meta();
  write_text(cache_file("pkgs-installed.json"), json::serialize(list));
  pkg::progress_t progress;
  cache().set_progress_sink([&progress](const pkg::progress_t& now) { progress = now; });
  const std::optional<pkg::verification_t> odd = cache().verify({}, false);
  ASSERT_TRUE(odd && odd->findings.size() == 2);
  EXPECT_EQ(odd->findings[0].state, pkg::member_state::missing);
  EXPECT_EQ(odd->findings[1].state, pkg::member_state::unreadable);
  EXPECT_EQ(progress.members_done, 4U);
  EXPECT_EQ(progress.members, 4U);
  // What cannot be set right is no success.
  list["odd-1.0.0"] = TestPackage{"odd-1.0.0", {}, {}, {}, {{"_pkg_installdir", ".."}}}.meta();
  write_text(cache_file("pkgs-installed.json"), json::serialize(list));
  const std::optional<pkg::verification_t> refused = cache().verify({}, true);
  ASSERT_TRUE(refused);
  EXPECT_FALSE(refused->is_repaired);
}

TEST_F(CliTest, ALockGivesAnotherMachineTheSameBytes) {
  publish(some_packages());
  const auto root = [&](const char* name) { return framework::path_to_utf8(folder_ / name); };
  const auto bytes = [&](const std::string& name) {
    std::map<std::string, std::string> all;
    for (const auto& [path, text] : snapshot()) {
      const bool is_package = path.starts_with(name + "/xsd/");
      const bool is_catalog = path.starts_with(name + "/.xsd_cache/") && path.ends_with(".xml") &&
                              path.find("/local/") == std::string::npos;
      if (is_package || is_catalog) all[path.substr(name.size())] = text;
    }
    return all;
  };
  ASSERT_EQ(zendro({"--root", root("one"), "update"}).status, 0);
  ASSERT_EQ(zendro({"--root", root("one"), "-y", "install", "app"}).status, 0);
  const std::string lock =
      run_process(built_program("zendro"), {"--root", root("one"), "lock"}).out;
  const std::string file = root("zendro.lock");
  write_text(folder_ / "zendro.lock", lock);

  std::vector<TestPackage> later = some_packages();
  later.push_back(package_of_one_member("lib-1.0.2"));
  publish(later, 2);
  const auto locked = [&](const char* name) {
    EXPECT_EQ(zendro({"--root", root(name), "update"}).status, 0);
    return zendro({"--root", root(name), "-y", "install", "--locked", file});
  };
  EXPECT_EQ(locked("two").status, 0);
  EXPECT_EQ(bytes("two"), bytes("one"));
  EXPECT_EQ(bytes("two").size(), 6u);
  EXPECT_EQ(locked("two").status, 0) << "once more";

  ASSERT_EQ(zendro({"--root", root("new"), "update"}).status, 0);
  ASSERT_EQ(zendro({"--root", root("new"), "-y", "install", "lib"}).status, 0);
  const ProcessOutcome newer = locked("new");
  EXPECT_EQ(newer.status, 1);
  EXPECT_THAT(newer.err, HasSubstr("newer version lib-1.0.2 is already installed"));
  ASSERT_EQ(zendro({"--root", root("old"), "update"}).status, 0);
  ASSERT_EQ(zendro({"--root", root("old"), "-y", "install", "lib-1.0.0"}).status, 0);
  EXPECT_EQ(locked("old").status, 0) << "an older level is replaced";
  EXPECT_EQ(bytes("old"), bytes("one"));

  later[3].members[0].second = "other bytes";
  publish(later, 3);
  const ProcessOutcome refused = locked("three");
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("Checksum mismatch for member base-1.0.0.zip"));
  EXPECT_THAT(bytes("three"), testing::SizeIs(3)) << "the catalogs alone";
  EXPECT_EQ(locked("two").status, 1) << "although it is installed";
  later[3] = package_of_one_member("base-1.0.0");
  later[3].members.emplace_back("one-more.zip", "x");
  publish(later, 4);
  EXPECT_THAT(locked("three").err, HasSubstr("Checksum mismatch for member one-more.zip"));
  for (const char* text :
       {"", "[]", R"({"zendro_lock": 2})", R"({"zendro_lock": 1, "type": "xbrl"})",
        R"({"zendro_lock": 1, "type": "xsd", "packages": {"a-1.0.0": {"b": "c"}}})"}) {
    write_text(folder_ / "zendro.lock", text);
    EXPECT_THAT(locked("three").err,
                HasSubstr("Can't read XML Schema information from $/zendro.lock"));
  }
}

TEST_F(CliTest, AClosedNetworkGetsTheListAndPackagesAsFiles) {
  start_with(some_packages());
  const std::string out = framework::path_to_utf8(folder_ / "out");
  const std::string file = framework::path_to_utf8(folder_ / "app.zendro_xmlschemas");
  EXPECT_EQ(zendro({"download", "app", "-o", file}).status, 0);
  EXPECT_EQ(zendro({"download", "wms", "-o", out}).status, 0);
  EXPECT_TRUE(framework::file_exists(folder_ / "out/wms.zendro_xmlschemas"));
  EXPECT_EQ(zendro({"download", "gone", "-o", out}).status, 1);
  EXPECT_EQ(zendro({"download", "app", "-o", out + "/none/x.zendro_xmlschemas"}).status, 1);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_ / "out"),
                          std::filesystem::directory_iterator()),
            1)
      << "nothing unfinished is left";
  EXPECT_FALSE(std::filesystem::exists(package_folder("app-1.0.0")));

  const std::string archive =
      make_zip({{"pkgs-available.json", file_text(cache_file("pkgs-available.json"))}});
  const std::string list = framework::path_to_utf8(folder_ / "list.zip");
  write_text(folder_ / "list.zip", archive);
  options_[app::option::store_bootstrap_url] = "http://127.0.0.1:1/";
  write_options();
  const std::string root = framework::path_to_utf8(folder_ / "closed");
  EXPECT_EQ(zendro({"--root", root, "update", "--from", list}).status, 1) << "without a digest";
  write_text(folder_ / "list.zip.sha256", std::string(64, '0'));
  EXPECT_THAT(zendro({"--root", root, "update", "--from", list}).err,
              HasSubstr("Checksum mismatch"));
  write_text(folder_ / "list.zip.sha256",
             framework::to_hex(framework::sha256(archive)) + "  list.zip\n");
  EXPECT_EQ(zendro({"--root", root, "update", "--from", list}).status, 0);
  EXPECT_EQ(zendro({"--root", root, "install", file, "--dry-run"}).status, 2);
  EXPECT_EQ(zendro({"--root", root, "install", file, "-y"}).status, 0);
  EXPECT_EQ(zendro({"--root", root, "verify"}).status, 0);
  EXPECT_THAT(zendro({"--root", root, "list", "--installed"}).out,
              testing::AllOf(HasSubstr("app "), HasSubstr("base "), HasSubstr("lib ")));
}

TEST_F(CliTest, WhereATextLeadsAndTheBytesThere) {
  const std::string inner("<a/>\0\r\n", 7);
  TestPackage package{"doc-1.0.0", {{"m.zip", make_zip({{"a.xsd", inner}})}, {"b.xsd", "<b/>"}}};
  package.more = {{"catalogs",
                   {{"http://doc/a.xsd", "m.zip|zip/a.xsd"},
                    {"http://doc/all/", ""},
                    {"http://doc/all/m/", "m.zip|zip/"}}},
                  {"namespace_catalog",
                   {{"urn:doc", "b.xsd"}, {"-//DOC//", {{"path", "b.xsd"}, {"public", true}}}}},
                  {"uri_mappings", {{"http://old/", "http://doc/"}, {"http://x/", "http://x/x"}}}};
  start_with({package});
  ASSERT_TRUE(cache().install({"doc"}));
  const std::string a = "zendro://pkg/doc-1.0.0/m.zip%7Czip/a.xsd";
  const std::string b = "zendro://pkg/doc-1.0.0/b.xsd";
  const std::string name = "zendro://pkg/doc/namespace_catalog/urn%3Adoc";
  const std::string folder = "$/pkgs/xsd/doc-1.0.0/";
  const std::pair<const char*, std::string> leads[] = {
      {"http://old/a.xsd",
       "remapping.xml: rewriteURI http://old/ -> http://doc/a.xsd\n"
       "catalog.xml: uri http://doc/a.xsd -> " +
           a + "\n" + folder + "m.zip\n"},
      {"http://doc/all/b.xsd",
       "catalog.xml: rewriteURI http://doc/all/ -> " + b + "\n" + folder + "b.xsd\n"},
      {"http://doc/all/m/a.xsd",
       "catalog.xml: rewriteURI http://doc/all/m/ -> " + a + "\n" + folder + "m.zip\n"},
      {"urn:doc", "namespace-mapping-catalog.xml: uri urn:doc -> " + name + "\ncatalog.xml: uri " +
                      name + " -> " + b + "\n" + folder + "b.xsd\n"},
      {"-//DOC//",
       "namespace-mapping-catalog.xml: public -//DOC// -> " + b + "\n" + folder + "b.xsd\n"},
      {"zendro://pkg/doc-1.0.0/b.xsd", folder + "b.xsd\n"}};
  for (const auto& [text, out] : leads) {
    const ProcessOutcome outcome = zendro({"resolve", text, "-v"});
    EXPECT_EQ(outcome.status, 0) << text;
    EXPECT_EQ(outcome.out, out);
  }
  for (const char* text : {"http://none/", "http://x/", "urn:doc/b.xsd",
                           "zendro://pkg/doc-1.0.0/none", "zendro://pkg/x-1.0.0/b"}) {
    EXPECT_EQ(zendro({"resolve", text}).status, 1) << text;
    EXPECT_NE(zendro({"cat", text}).status, 0) << text;
  }
  EXPECT_EQ(run_process(built_program("zendro"), {"cat", a}).out, inner);
  write_text(package_folder("doc-1.0.0") / "b.xsd", "<c/>");
  EXPECT_EQ(zendro({"cat", b}).out, "") << "is not what the package has";
}

}  // namespace
}  // namespace zendro::tests
