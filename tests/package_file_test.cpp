// Package files: at the command of a filter, and on their own.
#include "app/options/options.h"
#include "framework/io/digest.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TestPackage package(const std::string& identity, std::vector<std::string> references = {}) {
  return {identity, {{"m/" + identity + ".zip", "bytes of " + identity}}, std::move(references)};
}

class PackageFileTest : public ManagerTest {
 protected:
  std::string write_file(const std::string& name, const std::vector<TestPackage>& packages,
                         const json::value& provides) {
    json::object document = {{"_META", {{"build_number", 99}}}};
    if (!provides.is_null()) document["provides"] = provides;
    std::vector<ZipEntry> entries;
    for (const TestPackage& one : packages) {
      document[one.identity] = one.meta();
      for (const auto& [member, bytes] : one.members) entries.push_back({member, bytes});
    }
    return write_archive(name, json::serialize(document), std::move(entries));
  }

  std::string write_archive(const std::string& name, const std::string& meta_file,
                            std::vector<ZipEntry> entries = {}) {
    entries.push_back({"ZENDROPKG-INF/pkg-meta.json", meta_file});
    const std::string path = (folder_ / name).string();
    write_text(path, make_zip(entries));
    return path;
  }
};

TEST_F(PackageFileTest, ProvidesPackagesWithoutTheStore) {
  start_with({package("b-1.0.0"), package("z-1.0.0")});
  TestPackage other = package("z-1.0.0");
  other.more["title"] = "not the store's";
  const std::string path =
      write_file("set.zendro_xmlschemas", {package("a-1.0.0", {"b"}), package("b-1.0.0"), other},
                 {"a", "z-1.0.0"});
  EXPECT_TRUE(cache().install({path}));
  EXPECT_THAT(take_messages(), IsEmpty());
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "b-1.0.0", "z-1.0.0"));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "m%2Fa-1.0.0.zip"), "bytes of a-1.0.0");
  EXPECT_THAT(take_requests(), ElementsAre("POST /api/package-manager/v1/telemetry"));
  EXPECT_THAT(take_log(), Contains("File $/pkgs/xsd/a-1.0.0/m%2Fa-1.0.0.zip already exists."));

  const json::value list = json::parse(file_text(cache_file("pkgs-available.json")));
  EXPECT_EQ(list.at("_META").at("build_number"), 1);  // the list keeps its own
  EXPECT_EQ(list.at("z-1.0.0").as_object().if_contains("title"), nullptr);
  EXPECT_TRUE(list.as_object().contains("a-1.0.0"));
  EXPECT_FALSE(list.as_object().contains("provides"));

  EXPECT_TRUE(cache().uninstall({path}));
  EXPECT_THAT(installed(), IsEmpty());
}

// What a file brought stays removable and patchable when the store publishes a list without it, and
// the file brings it again.
TEST_F(PackageFileTest, ItsPackagesOutliveLaterLists) {
  start_with({package("b-1.0.0")});
  const std::string path =
      write_file("set.zendro_xmlschemas", {package("a-1.0.0"), package("c-1.0.0")}, {"a", "c"});
  ASSERT_TRUE(cache().install({path}));
  publish({package("b-1.0.0"), package("c-1.0.1")}, 2);
  ASSERT_TRUE(cache().update_store_information(true));
  json::value list = json::parse(file_text(cache_file("pkgs-available.json")));
  EXPECT_FALSE(list.as_object().contains("a-1.0.0"));
  EXPECT_TRUE(list.at("_DEPRECATED").as_object().contains("a-1.0.0"));
  EXPECT_TRUE(cache().install({"c"}));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "c-1.0.1"));

  EXPECT_TRUE(cache().install({path}));
  list = json::parse(file_text(cache_file("pkgs-available.json")));
  EXPECT_TRUE(list.as_object().contains("a-1.0.0"));
  EXPECT_FALSE(list.at("_DEPRECATED").as_object().contains("a-1.0.0"));
  publish({package("b-1.0.0")}, 3);
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_TRUE(cache().uninstall({"a", "c"}));
  EXPECT_THAT(installed(), IsEmpty());
  EXPECT_THAT(take_messages(), IsEmpty());
  // Gone, and kept no longer than the next list.
  EXPECT_TRUE(cache().install({path}));
  EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "c-1.0.0"));
}

TEST_F(PackageFileTest, TargetsThatExistAreLeftAloneAndProvedLater) {
  start_with({});
  server_.serve("/store/m/a-1.0.0.zip", loopback::Reply::bytes("bytes of a-1.0.0"));
  write_text(package_folder("a-1.0.0") / "m%2Fa-1.0.0.zip", "something else");
  const std::string path = write_file("x.zendro_xmlschemas", {package("a-1.0.0")}, {"a"});
  EXPECT_THAT(cache().read_package_file(path), Optional(ElementsAre("a")));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "m%2Fa-1.0.0.zip"), "something else");
  EXPECT_TRUE(cache().install({path}));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "m%2Fa-1.0.0.zip"), "bytes of a-1.0.0");
}

TEST_F(PackageFileTest, FilesComeShorterPathsFirstAndEmptyOnesAreSaid) {
  start_with({package("s-1.0.0")});
  const std::string zz = write_file("zz.zendro_xmlschemas", {package("z-1.0.0")}, {"z"});
  const std::string aaa = write_file("aaa.zendro_xmlschemas", {package("a-1.0.0")}, {"a"});
  const std::string bb = write_file("bb.zendro_xmlschemas", {package("b-1.0.0")}, nullptr);
  EXPECT_TRUE(cache().install({aaa, "s", zz, bb, zz}));
  const std::vector<std::string> log = take_log();
  EXPECT_THAT(
      std::vector(log.begin(), log.begin() + 5),
      ElementsAre("Filter s matched XML Schema s-1.0.0.",
                  "File $/bb.zendro_xmlschemas doesn't provide any XML Schemas - ignored.",
                  "Filter z matched XML Schema z-1.0.0.", "Filter a matched XML Schema a-1.0.0.",
                  "Install a-1.0.0, s-1.0.0, z-1.0.0."));
  EXPECT_FALSE(cache().install({bb}));
  EXPECT_THAT(take_messages(), ElementsAre("no_pkgs_to_install pkgtypes=XML Schemas"));
  const std::string other = write_file("c.zendro_xmlschemas", {package("c-1.0.0")}, {"nothing"});
  EXPECT_FALSE(cache().install({other}));
  EXPECT_THAT(take_messages(), ElementsAre("pkg_not_available pkg=nothing pkgtype=XML Schema"));
  // The extension of the other type, or in another case, makes it a name.
  EXPECT_FALSE(cache().install({"c.ZENDRO_XMLSCHEMAS"}));
  EXPECT_THAT(take_messages(),
              ElementsAre("pkg_not_available pkg=c.ZENDRO_XMLSCHEMAS pkgtype=XML Schema"));
}

TEST_F(PackageFileTest, EveryFailureHasItsMessage) {
  const auto failure = [&](const std::string& path) {
    const auto before = snapshot();
    EXPECT_FALSE(cache().read_package_file(path));
    EXPECT_EQ(snapshot(), before);
    return take_messages();
  };
  EXPECT_THAT(failure((folder_ / "x.zendro_xmlschemas").string()),
              ElementsAre("not_initialized pkgtype=XML Schema"));
  start_with({});
  EXPECT_THAT(failure((folder_ / "x.zendro_xmlschemas").string()),
              ElementsAre("zendropkg_exists pkgtype=XML Schema path=$/x.zendro_xmlschemas"));
  const std::string invalid =
      "invalid_pkg_information pkgtype=XML Schema path=$/x.zendro_xmlschemas";
  for (const std::string& content :
       {std::string("no zip"), make_zip({{"other", ""}}),
        make_zip({{"ZENDROPKG-INF/pkg-meta.json", "{"}}),
        make_zip({{"ZENDROPKG-INF/pkg-meta.json", R"({"provides": "a"})"}}),
        make_zip({{"ZENDROPKG-INF/pkg-meta.json", R"({"provides": [1]})"}}),
        make_zip({{"ZENDROPKG-INF/pkg-meta.json", R"({"a-1.0.0": []})"}})}) {
    write_text(folder_ / "x.zendro_xmlschemas", content);
    EXPECT_THAT(failure((folder_ / "x.zendro_xmlschemas").string()), ElementsAre(invalid));
  }
  const json::array many(pkg::kMostReferences + 1, "a");
  for (const auto& [meta, cause] :
       {std::pair(std::string(R"({"provides": {}})"), "\nCannot cast value to JSON array!"),
        std::pair(json::serialize(json::object{{"provides", many}}),
                  "\n10001 provides are more than the limit of 10000.")}) {
    write_archive("x.zendro_xmlschemas", meta);
    EXPECT_FALSE(cache().read_package_file((folder_ / "x.zendro_xmlschemas").string()));
    EXPECT_THAT(texts().back(), testing::EndsWith(cause));
  }
  take_messages();
  const std::string taxonomies = write_file("x.zendro_taxonomies", {package("a-1.0.0")}, {"a"});
  EXPECT_THAT(failure(taxonomies),
              ElementsAre("invalid_pkg_information pkgtype=XML Schema path=$/x.zendro_taxonomies"));
}

// Entries are checked, all of them, before a byte of the first one is written.
TEST_F(PackageFileTest, AnEntryOfTheWrongTypeIsNamed) {
  start_with({});
  const auto before = snapshot();
  const std::pair<std::string, json::value> kWrong[] = {
      {"files", {"x"}},           {"files", {{"x", 5}}},           {"_type", 5},
      {"_pkg_installdir", false}, {"references", {{"a", "b"}}},    {"references", {1}},
      {"conflicting_pkgs", "a"},  {"uri_mappings", json::array()}, {"title", nullptr}};
  for (const auto& [member, value] : kWrong) {
    TestPackage wrong = package("b-1.0.0");
    wrong.more[member] = value;
    const std::string path =
        write_file("x.zendro_xmlschemas", {package("a-1.0.0"), wrong}, {"a", "b"});
    EXPECT_FALSE(cache().read_package_file(path)) << member;
    EXPECT_THAT(texts(), ElementsAre(testing::StartsWith(
                             "Can't read XML Schema information from "
                             "$/x.zendro_xmlschemas.\nb-1.0.0: Cannot cast value to JSON ")))
        << member;
    EXPECT_THAT(take_messages(), ElementsAre("invalid_pkg_information pkgtype=XML Schema "
                                             "path=$/x.zendro_xmlschemas"));
    std::filesystem::remove(path);
    EXPECT_EQ(snapshot(), before) << member;
  }
}

// An entry that points to the folder of another package, or two versions that cannot share one,
// refuse the file before a byte is written.
TEST_F(PackageFileTest, FoldersBelongToTheirOwners) {
  TestPackage good{"good-1.0.0", {{"good.zip", "good"}}};
  TestPackage other{"good-1.1.0", {{"good.zip", "other"}}};
  start_with({good});
  TestPackage evil{"evil-1.0.0", {{"added.zip", "evil"}}};
  evil.more["_pkg_installdir"] = other.more["_pkg_installdir"] = "good-1.0.0";
  TestPackage twin = other;
  twin.identity = "good-1.2.0";
  twin.members = {{"good.zip", "twin"}};
  TestPackage patch = other;  // the install decides between it and the old level
  patch.identity = "good-1.0.1";
  const std::string foreign = "create_folder path=$/pkgs/xsd/good-1.0.0/";
  for (const bool is_installed : {false, true}) {
    if (is_installed) {
      ASSERT_TRUE(cache().install({"good"}));
    }
    for (const auto& [packages, message] :
         {std::pair(std::vector{evil}, foreign),
          std::pair(std::vector{other},
                    std::string(is_installed ? "pkg_conflict_installed pkg=good-1.1.0 "
                                               "conflict=good-1.0.0 pkgtype=XML Schema"
                                             : "")),
          std::pair(std::vector{twin, other},
                    std::string(is_installed ? "pkg_conflict_installed pkg=good-1.2.0 "
                                               "conflict=good-1.0.0 pkgtype=XML Schema"
                                             : "pkg_conflict pkg=good-1.1.0 conflict=good-1.2.0 "
                                               "pkgtypes=XML Schemas")),
          std::pair(std::vector{patch}, std::string())}) {
      const std::string path = write_file("x.zendro_xmlschemas", packages, {"x"});
      const auto before = snapshot();
      EXPECT_EQ(cache().read_package_file(path).has_value(), message.empty());
      if (message.empty()) {
        fs::remove_all(folder_ / "pkgs");
        ASSERT_TRUE(cache().update_store_information(true));
        continue;
      }
      EXPECT_THAT(take_messages(), ElementsAre(message));
      EXPECT_EQ(snapshot(), before);
    }
  }
}

TEST_F(PackageFileTest, AMemberWithoutItsDigestIsLeftToTheStore) {
  start_with({});
  server_.serve("/store/m/a-1.0.0.zip", loopback::Reply::bytes("bytes of a-1.0.0"));
  const TestPackage a = package("a-1.0.0");
  const json::object document = {{"provides", {"a"}}, {"a-1.0.0", a.meta()}};
  const std::string path = write_archive("x.zendro_xmlschemas", json::serialize(document),
                                         {{"m/a-1.0.0.zip", "other bytes"}});
  EXPECT_THAT(cache().read_package_file(path), Optional(ElementsAre("a")));
  EXPECT_TRUE(fs::is_empty(package_folder("a-1.0.0")));
  EXPECT_THAT(take_log(), ElementsAre("Checksum mismatch for member m/a-1.0.0.zip of XML Schema "
                                      "a-1.0.0."));
  EXPECT_TRUE(cache().install({path}));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "m%2Fa-1.0.0.zip"), "bytes of a-1.0.0");
}

// However the archive lies: its bytes come out once, or as often as deflate could pack them.
TEST_F(PackageFileTest, CopiesNoMoreThanTheFileHolds) {
  start_with({});
  const std::string zeros(1 << 20, '\0');
  const std::string digest = framework::to_hex(framework::sha256(zeros));
  const auto copied = [&](const json::object& files, bool is_overlapping) {
    fs::remove_all(folder_ / "pkgs" / "xsd");
    TestPackage a{"a-1.0.0", {}};
    a.more["files"] = files;
    std::string archive =
        make_zip({{"ZENDROPKG-INF/pkg-meta.json",
                   json::serialize(json::object{{"provides", {"a"}}, {"a-1.0.0", a.meta()}})},
                  {"bomb", zeros},
                  {"copy", zeros}});
    if (is_overlapping) {  // the directory's third entry leads to the second member
      const std::size_t third = archive.rfind("PK\1\2");
      const std::size_t second = archive.rfind("PK\1\2", third - 1);
      archive.replace(third + 42, 4, archive, second + 42, 4);
    }
    const std::string path = (folder_ / "x.zendro_xmlschemas").string();
    write_text(path, archive);
    const bool done = cache().read_package_file(path).has_value();
    EXPECT_EQ(take_messages().size(), done ? 0U : 1U);
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(package_folder("a-1.0.0"))) {
      EXPECT_EQ(entry.file_size(), zeros.size());
      ++count;
    }
    return std::pair(done, count);
  };
  EXPECT_EQ(copied({{"bomb", digest}, {"copy", digest}}, false), std::pair(true, std::size_t{2}));
  EXPECT_EQ(copied({{"bomb", digest}, {"copy", digest}}, true), std::pair(false, std::size_t{1}));
  json::object aliases;
  for (const char* name : {"bomb", "%62omb", "b%6Fmb", "bo%6Db", "bom%62"}) aliases[name] = digest;
  const auto [done, count] = copied(aliases, false);
  EXPECT_FALSE(done);
  EXPECT_LT(count, aliases.size());
  set_option(app::option::member_size_limit, 1 << 20);
  EXPECT_EQ(copied({{"bomb", digest}, {"copy", digest}}, false), std::pair(false, std::size_t{1}));
}

TEST_F(PackageFileTest, TellsHowFarItIs) {
  start_with({});
  write_text(package_folder("b-1.0.0") / "m%2Fb-1.0.0.zip", "is there");
  TestPackage large{"a-1.0.0", {{"m/a", std::string(100'000, 'a')}, {"m/b", ""}}};
  const std::string path = write_file("x.zendro_xmlschemas", {large, package("b-1.0.0")}, {"a"});
  std::vector<std::string> seen;
  cache().set_progress_sink([&seen](const pkg::progress_t& progress) {
    seen.push_back(std::to_string(progress.members_done) + "/" + std::to_string(progress.members) +
                   " " + std::to_string(progress.bytes_done) + "/" +
                   (progress.bytes ? std::to_string(*progress.bytes) : "?"));
  });
  EXPECT_TRUE(cache().read_package_file(path));
  EXPECT_THAT(seen, ElementsAre("0/0 0/?", "0/3 0/?", "0/3 0/100000", "0/3 65536/100000",
                                "0/3 100000/100000", "1/3 0/?", "1/3 0/0", "2/3 0/?", "3/3 0/?"));
}

TEST_F(PackageFileTest, AMemberThatCannotBeCopiedIsNotTakenForWholeLater) {
  start_with({});
  const json::object good = package("a-1.0.0").meta();
  const std::string meta = json::serialize(json::object{{"provides", {"a"}}, {"a-1.0.0", good}});
  const std::string missing = write_archive("x.zendro_xmlschemas", meta);
  EXPECT_FALSE(cache().read_package_file(missing));
  const std::string message =
      "copy_pkg_member pkgtype=XML Schema "
      "path=$/pkgs/xsd/a-1.0.0/m%2Fa-1.0.0.zip";
  EXPECT_THAT(take_messages(), ElementsAre(message));
  ZipEntry damaged{"m/a-1.0.0.zip", "bytes of a-1.0.0"};
  damaged.crc = 0x12345678;
  EXPECT_FALSE(cache().read_package_file(write_archive("x.zendro_xmlschemas", meta, {damaged})));
  EXPECT_THAT(take_messages(), ElementsAre(message));
  EXPECT_TRUE(fs::is_empty(package_folder("a-1.0.0")));
  const json::value list = json::parse(file_text(cache_file("pkgs-available.json")));
  EXPECT_FALSE(list.as_object().contains("a-1.0.0"));
  // What a process that was killed while it copied has left.
  write_text(package_folder("a-1.0.0") / "unfinished copy", "bytes of");
  const std::string whole = write_file("y.zendro_xmlschemas", {package("a-1.0.0")}, {"a"});
  EXPECT_THAT(cache().read_package_file(whole), Optional(ElementsAre("a")));
  EXPECT_EQ(file_text(package_folder("a-1.0.0") / "m%2Fa-1.0.0.zip"), "bytes of a-1.0.0");
  EXPECT_FALSE(fs::exists(package_folder("a-1.0.0") / "unfinished copy"));
}

}  // namespace
}  // namespace zendro::tests
