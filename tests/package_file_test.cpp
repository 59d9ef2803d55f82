// Package files: at the command of a filter, and on their own.
#include "app/options.h"
#include "framework/digest.h"
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

TEST_F(PackageFileTest, TargetsThatExistAreLeftAloneAndProvedLater) {
  start_with({});
  server_.serve("/store/m/a-1.0.0.zip", demo::Reply::bytes("bytes of a-1.0.0"));
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
  write_archive("x.zendro_xmlschemas", R"({"provides": {}})");
  EXPECT_FALSE(cache().read_package_file((folder_ / "x.zendro_xmlschemas").string()));
  EXPECT_THAT(texts().back(), testing::EndsWith("\nCannot cast value to JSON array!"));
  take_messages();
  const std::string taxonomies = write_file("x.zendro_taxonomies", {package("a-1.0.0")}, {"a"});
  EXPECT_THAT(failure(taxonomies),
              ElementsAre("invalid_pkg_information pkgtype=XML Schema path=$/x.zendro_taxonomies"));
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
