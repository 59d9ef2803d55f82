// The files for other programs, below "local/" in the cache root.
#include <pugixml.hpp>

#include "app/options/options.h"
#include "framework/system/files.h"
#include "pkg/local/mappings.h"
#include "pkg/local/stamp.h"
#include "pkg/local/unpacking.h"
#include "tests/cause.h"
#include "tests/links.h"
#include "tests/manager_fixture.h"
#include "tests/stopwatch.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What local files are made of: where one thing of it changes, they are made again.
TEST(LocalSource, TellsAnyChangeOfAPackage) {
  using namespace pkg::local;
  const package_t package{"a-1.0.0",
                          {{"m.xsd", "m.xsd", framework::sha256("m")}},
                          {{key_kind::location, "k", "m.xsd"}},
                          {}};
  std::vector<package_t> others(7, package);
  others[0].identity = "a-1.0.1";
  others[1].members[0].path = "n.xsd";
  others[2].members[0].digest = framework::sha256("n");
  others[3].keys[0].kind = key_kind::public_id;
  others[4].keys[0].key = "l";
  others[5].keys[0].member_path = "n.xsd";
  others[6].keys.push_back({key_kind::prefix, "p", ""});
  std::set<std::string> sources{source_of(package, "/root")};
  for (const package_t& other : others) sources.insert(source_of(other, "/root"));
  EXPECT_EQ(sources.size(), 8U);
  EXPECT_EQ(source_of(package, "/root"), source_of(package_t(package), "/other"))
      << "nothing in it depends on the place";
}

class LocalFilesTest : public ManagerTest {
 protected:
  [[nodiscard]] fs::path local(const std::string& path = "") const {
    return cache_file("local") / path;
  }
  // The entries of a catalog, one an element.
  std::vector<std::string> entries(const std::string& path) {
    std::vector<std::string> lines;
    std::istringstream text(file_text(local(path)));
    for (std::string line; std::getline(text, line);) {
      if (line.starts_with("  ")) lines.push_back(line.substr(2));
    }
    return lines;
  }
  // All files below "local/" with their bytes.
  std::map<std::string, std::string> files() {
    std::map<std::string, std::string> found = snapshot();
    std::erase_if(
        found, [](const auto& file) { return !file.first.starts_with("pkgs/.xsd_cache/local/"); });
    return found;
  }
  // A package whose one member is an archive that leads nowhere.
  static TestPackage package_of(const std::string& identity, const std::string& member,
                                const std::string& bytes, json::object more = {}) {
    return {identity, {{member, bytes}}, {}, {}, std::move(more)};
  }
};

TEST_F(LocalFilesTest, CatalogsLeadToUnpackedFiles) {
  const std::string inner = make_zip({{"c d.xsd", "deep"}});
  const std::string zip = make_zip({{"a/", ""}, {"a/b#.xsd", "flat"}, {"i.ZIP", inner}});
  start_with(
      {{"one-1.0.0",
        {{"d/plain.xsd", "plain"},
         {"x.zip", zip},
         {"set.bin", make_zip({{"n.bin", make_zip({{"a.xsd", ""}})}})}},
        {},
        {},
        {{"catalogs",
          {{"http://a/b", "x.zip|zip/a/b%23.xsd"},
           {"http://a/c", "x.zip|zip/i.ZIP|zip/c d.xsd"},
           {"http://a/", "x.zip|zip/a/"},
           {"http://a/none", "x.zip|zip/none"},
           {"http://a/folder", "x.zip|zip/a"},
           {"http://a/case", "x.zip|zip/A/b%23.xsd"},
           {"http://a/marked", "set.bin|zip/n.bin|zip/a.xsd"},
           {"", "d/plain.xsd"},
           {"http://all/", "/"},
           {"http://whole/", "x.zip|zip"},
           {"http://out/", "../../x/"},
           {"http://a/out", "../../x"},
           {"zendro://pkg/two-1.0.0/y.zip%7Czip/../d/plain.xsd", "d/plain.xsd"},
           {"zendro://pkg/two-1.0.0/y.zip%7Czip/p%20q.xsd", "d/plain.xsd"}}},
         {"namespace_catalog",
          {{"urn:a", "d/plain.xsd"},
           {"zendro://pkg/a", "d/plain.xsd"},
           {"-//A//DTD \"//EN", {{"path", "d/plain.xsd"}, {"public", true}}},
           {"-//A//DTD 1//EN", {{"path", "d/plain.xsd"}, {"public", true}}}}},
         {"uri_mappings", {{"http://old/", "http://new/"}, {"http://new/", "http://newest/"}}}}},
       {"two-1.0.0", {{"y.zip", "no archive"}, {"o", inner}, {"e.zip", make_zip({})}}}});
  ASSERT_TRUE(cache().install({"one", "two"}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_EQ(file_text(local("two-1.0.0/files/o")), inner) << "has the name of no archive";
  EXPECT_TRUE(fs::is_directory(local("two-1.0.0/files/e.zip"))) << "empty";
  const std::string zips = (local() / "zips").string();
  EXPECT_THAT(file_text(local("how-to.txt")),
              testing::AllOf(HasSubstr("--packages \"" + zips), testing::Not(HasSubstr("{uri}"))));
  EXPECT_EQ(file_text(local("one-1.0.0/files/x.zip/i.ZIP/c d.xsd")), "deep");
  EXPECT_EQ(file_text(local("two-1.0.0/files/y.zip")), "no archive");
  EXPECT_THAT(
      entries("catalog.xml"),
      ElementsAre(
          R"(<rewriteSystem systemIdStartString="http://new/" rewritePrefix="http://newest/" />)",
          R"(<rewriteURI uriStartString="http://new/" rewritePrefix="http://newest/" />)",
          R"(<rewriteSystem systemIdStartString="http://old/" rewritePrefix="http://newest/" />)",
          R"(<rewriteURI uriStartString="http://old/" rewritePrefix="http://newest/" />)",
          R"(<nextCatalog catalog="one-1.0.0/catalog.xml" />)",
          R"(<nextCatalog catalog="two-1.0.0/catalog.xml" />)",
          R"(<nextCatalog catalog="prefixes.xml" />)"));
  EXPECT_THAT(entries("namespaces.xml"),
              ElementsAre(R"(<nextCatalog catalog="one-1.0.0/namespaces.xml" />)"));
  EXPECT_THAT(entries("one-1.0.0/namespaces.xml"),
              ElementsAre(R"(<uri name="urn:a" uri="files/d/plain.xsd" />)",
                          R"(<uri name="zendro://pkg/a" uri="files/d/plain.xsd" />)"));
  EXPECT_THAT(
      entries("prefixes.xml"),
      ElementsAre(
          R"(<rewriteSystem systemIdStartString="http://whole/" rewritePrefix="one-1.0.0/files/x.zip" />)",
          R"(<rewriteURI uriStartString="http://whole/" rewritePrefix="one-1.0.0/files/x.zip" />)",
          R"(<rewriteSystem systemIdStartString="http://all/" rewritePrefix="one-1.0.0/files/" />)",
          R"(<rewriteURI uriStartString="http://all/" rewritePrefix="one-1.0.0/files/" />)",
          R"(<rewriteSystem systemIdStartString="http://a/" rewritePrefix="one-1.0.0/files/x.zip/a/" />)",
          R"(<rewriteURI uriStartString="http://a/" rewritePrefix="one-1.0.0/files/x.zip/a/" />)"));

  std::vector<std::string> lines;
  const std::string place = fs::path(local("two-1.0.0/files/y.zip/")).generic_string();
  for (std::string line : entries("one-1.0.0/catalog.xml")) {
    const std::size_t at = line.find(place);
    lines.push_back(at == std::string::npos ? line : line.replace(at, place.size(), "/"));
  }
  std::vector<std::string> expected;
  const auto rewritten = [&](const std::string& key, const std::string& to) {
    expected.push_back("<rewriteSystem systemIdStartString=\"" + key + "\" rewritePrefix=\"" + to +
                       "\" />");
    expected.push_back("<rewriteURI uriStartString=\"" + key + "\" rewritePrefix=\"" + to +
                       "\" />");
  };
  const auto located = [&](const std::string& key, const std::string& at) {
    expected.push_back("<system systemId=\"" + key + "\" uri=\"files/" + at + "\" />");
    expected.push_back("<uri name=\"" + key + "\" uri=\"files/" + at + "\" />");
  };
  rewritten("zendro://pkg/one-1.0.0/", "files/");
  rewritten("zendro://pkg/one-1.0.0/x.zip%7Czip/", "files/x.zip/");
  rewritten("zendro://pkg/one-1.0.0/x.zip%7Czip/i.ZIP%7Czip/", "files/x.zip/i.ZIP/");
  rewritten("zendro://pkg/one-1.0.0/set.bin%7Czip/", "files/set.bin/");
  rewritten("zendro://pkg/one-1.0.0/set.bin%7Czip/n.bin%7Czip/", "files/set.bin/n.bin/");
  located("http://a/b", "x.zip/a/b%23.xsd");
  located("http://a/c", "x.zip/i.ZIP/c%20d.xsd");
  located("http://a/marked", "set.bin/n.bin/a.xsd");
  for (const char* spelling : {"/p%20q.xsd", "file:/p%20q.xsd", "file:///p%20q.xsd", "/p q.xsd",
                               "file:/p q.xsd", "file:///p q.xsd"}) {
    located(spelling, "d/plain.xsd");
  }
  expected.emplace_back(R"(<public publicId="-//A//DTD 1//EN" uri="files/d/plain.xsd" />)");
  const std::string root = local().generic_string();
  if (root.starts_with('/') && root.find_first_of(" %") == std::string::npos) {
    EXPECT_EQ(lines, expected);
  }
  for (const auto& [path, text] : files()) {
    pugi::xml_document document;
    if (!path.ends_with(".xml")) continue;
    ASSERT_TRUE(document.load_string(text.c_str())) << path;
    EXPECT_TRUE(document.child("catalog").first_child()) << path << " is empty";
  }
}

TEST_F(LocalFilesTest, FollowsWhatIsInstalledAndTheOption) {
  const std::string taxonomy = make_zip({{"t/META-INF/taxonomyPackage.xml", "<x/>"}, {"t/x", "x"}});
  start_with({package_of("a-1.0.0", "a.zip",
                         make_zip({{"a/b/c", ""},
                                   {"x/t/META-INF/taxonomyPackage.xml", ""},
                                   {"t.zip", taxonomy}})),
              package_of("a-1.0.1", "a.zip.2.zip", make_zip({{"x", "2"}})),
              {"t-1.0.0", {{"t.zip", taxonomy}, {"u.xsd", ""}}}});
  ASSERT_TRUE(cache().install({"a-1.0.0", "t"}));
  EXPECT_EQ(file_text(local("zips/t-1.0.0.zip")), file_text(package_folder("t-1.0.0") / "t.zip"));
  EXPECT_FALSE(fs::exists(local("zips/a-1.0.0.zip")) || fs::exists(local("zips/t-1.0.0.2.zip")));
  EXPECT_THAT(entries("namespaces.xml"), ElementsAre(HasSubstr("how-to.txt"))) << "never empty";
  ASSERT_TRUE(cache().install({"a-1.0.1"}));
  EXPECT_FALSE(fs::exists(local("a-1.0.0"))) << "the replaced level";
  EXPECT_EQ(file_text(local("a-1.0.1/files/a.zip.2.zip/x")), "2");
  ASSERT_TRUE(cache().uninstall({"t"}));
  EXPECT_TRUE(fs::is_empty(local("zips")));
  take_log();
  const std::vector<pkg::filter_action> pairs = {{"t-1.0.0", pkg::kActionInstall}};
  ASSERT_TRUE(cache().apply_changes(pairs));
  EXPECT_EQ(take_log().back(),
            "Catalogs through which XML tools find installed XML Schemas: "
            "$/pkgs/.xsd_cache/local/.");
  set_option(app::option::local_files, false);
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_FALSE(fs::exists(local()));
  ASSERT_TRUE(cache().apply_changes(pairs));
  EXPECT_FALSE(fs::exists(local()));
  // What has its name and is no folder goes.
  write_text(local(), "x");
  set_option(app::option::local_files, true);
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_TRUE(fs::is_directory(local("a-1.0.1")));
  EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(LocalFilesTest, TheNextRunSetsRightWhatWasInterrupted) {
  const std::string zip = make_zip({{"t/META-INF/taxonomyPackage.xml", "<x/>"}, {"t/x", "x"}});
  start_with({package_of("a-1.0.0", "a.zip", zip, {{"catalogs", {{"http://a", "a.zip|zip/t/x"}}}}),
              package_of("b-1.0.0", "b.zip", zip)});
  ASSERT_TRUE(cache().install({"a", "b"}));
  const auto right = files();
  const fs::path kept = local("b-1.0.0/files/b.zip/t/x");
  write_text(folder_ / "outside/file", "precious");
  const std::vector<std::function<void()>> interruptions = {
      [&] { fs::remove(local("a-1.0.0/stamp")); },
      [&] { fs::resize_file(local("a-1.0.0/stamp"), 20); },
      [&] { fs::remove_all(local("a-1.0.0")); },
      [&] { fs::remove(local("zips/a-1.0.0.zip")); },
      [&] {
        fs::remove_all(local("zips"));
        write_text(local("zips"), "in the way");
      },
      [&] { fs::resize_file(local("catalog.xml"), 30); },
      [&] {
        fs::remove(local("catalog.xml"));
        fs::create_directories(local("catalog.xml/x"));
      },
      [&] {
        fs::remove_all(local("a-1.0.0"));
        write_text(local("a-1.0.0"), "in the way");
      },
      [&] {
        write_text(local("c-1.0.0/files/left"), "over");
        write_text(local("junk"), "");
      },
      [&] { make_folder_link(folder_ / "outside", local("link")); },
      [&] {
        fs::remove_all(local("a-1.0.0"));
        make_folder_link(folder_ / "outside", local("a-1.0.0"));
      }};
  for (std::size_t i = 0; i < interruptions.size(); ++i) {
    interruptions[i]();
    EXPECT_TRUE(cache().update_store_information(true));
    EXPECT_EQ(files(), right) << i;
    EXPECT_FALSE(fs::exists(fs::symlink_status(local("link"))));
    EXPECT_EQ(file_text(folder_ / "outside/file"), "precious");
  }
  EXPECT_THAT(take_messages(), IsEmpty());
  const auto time = fs::last_write_time(kept);
  EXPECT_TRUE(cache().update_store_information(true));
  EXPECT_EQ(fs::last_write_time(kept), time) << "what has its stamp is not unpacked again";

  // What is unpacked is proved first; the rest stays, and so does the outcome.
  fs::remove(local("a-1.0.0/stamp"));
  write_text(package_folder("a-1.0.0") / "a.zip", make_zip({{"t/x", "forged"}}));
  EXPECT_TRUE(cache().update_store_information(true));
  EXPECT_THAT(take_messages(), ElementsAre("! local_files_left_out pkgtype=XML Schema pkg=a-1.0.0 "
                                           "path=$/pkgs/.xsd_cache/local/"));
  EXPECT_FALSE(fs::exists(local("a-1.0.0")));
  EXPECT_FALSE(fs::exists(local("zips/a-1.0.0.zip")));
  EXPECT_THAT(entries("catalog.xml"), ElementsAre(HasSubstr("b-1.0.0"), HasSubstr("prefixes")));
}

TEST_F(LocalFilesTest, AnIdentityThatMakesNoFolderIsLeftOut) {
  start_with({package_of("../up-1.0.0", "m.xsd", "x", {{"_pkg_installdir", "up"}})});
  ASSERT_TRUE(cache().install({"../up"}));
  EXPECT_THAT(texts(), ElementsAre(HasSubstr("../up-1.0.0: no folder can have this name")));
  EXPECT_FALSE(fs::exists(cache_file("up-1.0.0")));
}

TEST_F(LocalFilesTest, HostileArchivesAreLeftOutAlone) {
  const auto nested = [](int depth) {
    std::string zip = make_zip({{"x", "x"}});
    for (int i = 1; i < depth; ++i) zip = make_zip({{"n.zip", zip}});
    return zip;
  };
  std::string levels = "f";
  for (int i = 0; i < 64; ++i) levels.insert(0, "l/");
  ZipEntry link{"link", "/etc"};
  link.mode = 0120777;
  ZipEntry pipe{"pipe", ""};
  pipe.mode = 0010644;
  ZipEntry encrypted{"secret", "x"};
  encrypted.flags |= 1;
  struct Case {
    std::string archive;
    const char* cause;
  };
  const std::vector<Case> cases = {
      {make_zip({{"../x", ""}}), "is no path"},
      {make_zip({{"/x", ""}}), "is no path"},
      {make_zip({{"a//x", ""}}), "is no path"},
      {make_zip({{"a/./x", ""}}), "is no path"},
      {make_zip({{"a/../../../x", ""}}), "is no path"},
      {make_zip({{"..\\x", ""}}), "is no path"},
      {make_zip({{"C:x", ""}}), "is no path"},
      {make_zip({{"a.", ""}}), "is no path"},
      {make_zip({{"a\n", ""}}), "is no path"},
      {make_zip({{"", "x"}}), "is no path"},
      {make_zip({{"../", ""}}), "is no path"},
      {make_zip({{"a/x", ""}, {"A/y", ""}}), "in case only"},
      {make_zip({{"x.xsd", ""}, {"X.XSD", ""}}), "in case only"},
      {make_zip({{"a", ""}, {"a/x", ""}}), "a file and a folder"},
      {make_zip({{"a/x", ""}, {"a", ""}}), "a file and a folder"},
      {make_zip({{"n.zip", nested(1)}, {"n.zip/x", ""}}), "there twice"},
      {make_zip({{"a", "1"}, {"a", "2"}}), "there twice"},
      {make_zip({link}), "is a link"},
      {make_zip({pipe}), "is a link"},
      {make_zip({encrypted}), "encrypted"},
      {make_zip({{levels, ""}}), "deeper than 64 levels"},
      {nested(5), "more than 4 archives"},
      {make_zip({{"x", "abc", true, 7}}), "CRC"},
      {make_zip({{"x", "abc", true, {}, 2}}), "size"},
      {make_zip({{"x", "abc", false}}).substr(0, 40), ""}};
  std::vector<TestPackage> packages = {
      package_of("good-1.0.0", "g.zip", make_zip({{"aux.d/x", "y"}, {"n.zip", nested(3)}}))};
  if (fs::path::preferred_separator == '\\') packages[0] = package_of_one_member("good-1.0.0");
  for (std::size_t i = 0; i < cases.size(); ++i) {
    packages.push_back(package_of("bad-1." + std::to_string(i) + ".0", std::to_string(i) + "/b.zip",
                                  cases[i].archive));
  }
  start_with(packages);
  ASSERT_TRUE(cache().install({"good"}));
  ASSERT_THAT(take_messages(), IsEmpty());
  const auto right = files();
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const std::string identity = packages[i + 1].identity;
    SCOPED_TRACE(identity + " " + cases[i].cause);
    ASSERT_TRUE(cache().install({identity}));
    ASSERT_EQ(texts().size(), 1U);
    EXPECT_THAT(texts()[0], HasSubstr(identity + " is left out"));
    EXPECT_THAT(texts()[0], HasSubstr(cases[i].cause));
    EXPECT_EQ(files(), right);
    take_messages();
    ASSERT_TRUE(cache().uninstall({identity}));
    EXPECT_THAT(take_messages(), IsEmpty());
  }
  EXPECT_FALSE(fs::exists(folder_ / "x"));
}

TEST_F(LocalFilesTest, LimitsAreCountedWhileBytesArrive) {
  const std::set<std::string> unmarked;
  const auto outcome = [&](const std::string& zip, const pkg::local::limits_t& limits) {
    fs::remove_all(folder_ / "target");
    fs::create_directory(folder_ / "target");
    write_text(folder_ / "x.zip", zip);
    const auto target = framework::Folder::open(folder_ / "target");
    pkg::local::folder_target files(**target);
    pkg::local::unpacker unpacker(files, unmarked, limits);
    const auto stream = framework::open_file(folder_ / "x.zip");
    return cause_of(unpacker.add_member(*stream, "x.zip", framework::sha256(zip)));
  };
  const std::string inner = make_zip({{"a", std::string(1000, 'a')}});
  const std::string zip = make_zip({{"n.zip", inner}, {"b", std::string(1000, 'b')}});
  pkg::local::limits_t limits;
  limits.bytes = 2000 + inner.size();
  limits.entries = 4;
  EXPECT_EQ(outcome(zip, limits), "");
  limits.entries = 3;
  EXPECT_THAT(outcome(zip, limits), HasSubstr("more than 3 files and folders"));
  limits.entries = 4;
  --limits.bytes;
  EXPECT_THAT(outcome(zip, limits),
              HasSubstr("more than " + std::to_string(limits.bytes) + " bytes"));
  limits.bytes = 50;
  EXPECT_THAT(outcome(zip, limits), HasSubstr("50"));
}

TEST_F(LocalFilesTest, ManyKeysAreManyFiles) {
  constexpr int kKeys = 100'000;
  json::object locations;
  for (int i = 0; i < kKeys; ++i) locations["http://a/" + std::to_string(i)] = "a.xsd";
  start_with({package_of("a-1.0.0", "a.xsd", "x", {{"catalogs", locations}})});
  ASSERT_TRUE(cache().install({"a"}));
  const std::vector<std::string> first = entries("a-1.0.0/catalog.xml");
  EXPECT_EQ(first.size(), 1000 + kKeys / 500);
  EXPECT_EQ(entries("a-1.0.0/catalog201.xml").size(), 2U);
  const Stopwatch stopwatch;
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_LT(stopwatch.seconds(), 2);
}

TEST(UriMappings, AreJoinedUntilTheirEnd) {
  using pkg::local::mapping_t;
  const std::vector<mapping_t> mappings = {{"a/", "b/"},   {"b/", "c/"},   {"b/long/", "d/"},
                                           {"x/", "y/"},   {"y/", "x/"},   {"a/", "z/"},
                                           {"g/", "g/g/"}, {"e/", "b/lo"}, {"", "everything"}};
  std::string joined;
  for (const auto& [from, to] : pkg::local::join_mappings(mappings))
    joined += from + "=" + to + " ";
  EXPECT_EQ(joined, "b/long/=d/ a/=c/ b/=c/ e/=c/lo ");
}

}  // namespace
}  // namespace zendro::tests
