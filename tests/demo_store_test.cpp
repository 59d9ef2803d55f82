#include <fstream>
#include <map>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "demo/installation_check.h"
#include "demo/store_check.h"
#include "demo/store_maker.h"
#include "framework/io/digest.h"
#include "framework/text/json.h"
#include "tests/environment.h"
#include "tests/temp_folder.h"

#include "store/zip_reader.h"

namespace zendro::demo {
namespace {

namespace fs = std::filesystem;
namespace json = framework::json;
using ::testing::HasSubstr;

void write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

std::map<std::string, std::string> files_below(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files[entry.path().lexically_relative(folder).generic_string()] =
          store::read_whole_file(entry.path());
    }
  }
  return files;
}

std::string schema(const std::string& xml_namespace, const std::string& content) {
  return "<s:schema xmlns:s=\"http://www.w3.org/2001/XMLSchema\" targetNamespace=\"" +
         xml_namespace + "\">" + content + "</s:schema>";
}

constexpr const char* kRecipe = R"({
  "build_number": 7,
  "builtin": ["http://www.xbrl.org/2003/instance", "http://www.xbrl.org/2003/linkbase"],
  "stores": {
    "xsd": {
      "package_file": "extra.zendro_xmlschemas",
      "member": "schemas.zip",
      "packages": [
        {"name": "base", "title": "Base", "homepage": "http://h.example/", "source": "deb",
         "folder": "usr/schemas",
         "versions": {
           "1.0.0": {"members": ["base/1/"], "main": "base/1/base.xsd", "deprecated": true},
           "1.1.0": {"members": ["base/2/"], "main": "base/2/base.xsd"}}},
        {"name": "user", "title": "User", "source": "deb", "folder": "usr/schemas",
         "references": ["base-1"],
         "versions": {"2.0.0": {"members": ["user/*.xsd"], "main": "user/user.xsd"}}},
        {"name": "page-dtd", "title": "Page", "homepage": "http://h.example/",
         "description": "d", "source": "deb", "folder": "usr/dtd",
         "members": ["*"], "catalog": "catalog.xml", "main": "page.dtd",
         "known_missing": ["http://gone.example/x.ent"],
         "uri_mappings": {"https://p.example/": "http://p.example/"},
         "versions": {"1.0.0": {}, "1.2.0": {"in_package_file": true}}}
      ]
    },
    "xbrl": {
      "member": "taxonomy.zip",
      "packages": [
        {"name": "tax", "taxonomy": "tax.json", "versions": {"3.1.0": {}, "3.1.1": {}}}
      ]
    }
  }
})";

constexpr const char* kTaxonomy = R"({
  "title": "Tax", "description": "A taxonomy.", "publisher": "P", "homepage": "http://t.example/",
  "base": "http://t.example/tax/", "prefix": "tx", "imports": [],
  "concepts": [
    {"name": "Top", "abstract": true, "label": {"en": "Top & more"}, "children": [
      {"name": "Cash", "type": "monetary", "period": "instant", "label": {"en": "Cash"}},
      {"name": "New", "type": "string", "period": "duration", "since": "3.1.1",
       "label": {"en": "New"}}]}]
})";

class DemoStore : public ::testing::Test {
 protected:
  DemoStore() {
    const fs::path schemas = folder_ / "unpacked/deb/usr/schemas";
    write(schemas / "base/1/base.xsd", "<!-- An old base. -->" + schema("urn:base", ""));
    write(schemas / "base/2/base.xsd",
          schema("urn:base",
                 "<s:annotation><s:documentation>The base.\n  It is small.</s:documentation>"
                 "</s:annotation><s:include schemaLocation='part.xsd'/>"));
    write(schemas / "base/2/part.xsd", schema("urn:base", ""));
    write(schemas / "user/user.xsd",
          schema("urn:user",
                 "<s:import namespace='urn:base' schemaLocation='../base/2/base.xsd'/>"
                 "<s:annotation><s:documentation>See http://u.example/home.</s:documentation>"
                 "</s:annotation>"));
    write(schemas / "user/second.xsd",
          schema("urn:second",
                 "<s:import namespace='urn:base' schemaLocation='http://b.example/base.xsd'/>"));
    const fs::path dtd = folder_ / "unpacked/deb/usr/dtd";
    write(dtd / "page.dtd",
          "<!-- <!ENTITY % a PUBLIC \"-//C//D\" \"commented.ent\"> -->\n"
          "<!ENTITY % b PUBLIC \"-//O//ENTITIES\n   B//EN\" \"other-name.ent\"> %b;\n"
          "<!ENTITY % c SYSTEM 'http://gone.example/x.ent'>\n"
          "<!ENTITY % d PUBLIC \"-//S//SGML only\">\n"
          "<!ENTITY e \"replacement\">\n");
    write(dtd / "b.ent", "<!ENTITY b '&#98;'>");
    write(dtd / "catalog.xml",
          "<catalog xmlns='urn:oasis:names:tc:entity:xmlns:xml:catalog'>"
          "<public publicId='-//O//DTD Page//EN' uri='page.dtd'/>"
          "<system systemId='http://p.example/page.dtd' uri='page.dtd'/>"
          "<group><public publicId=' -//O//ENTITIES  B//EN ' uri='b.ent'/></group>"
          "<system systemId='http://p.example/other.dtd' uri='other.dtd'/></catalog>");
    write(folder_ / "taxonomies/tax.json", kTaxonomy);
    write(recipe_, kRecipe);
  }

  void make(const fs::path& output) {
    make_stores(recipe_, {folder_ / "unpacked", folder_ / "taxonomies"}, output, log_);
  }

  /// The text of the exception that making a store from a changed recipe ends in.
  std::string failure_with(const std::string& from, const std::string& to) {
    std::string recipe = kRecipe;
    const auto at = recipe.find(from);
    EXPECT_NE(at, std::string::npos);
    write(recipe_, recipe.replace(at, from.size(), to));
    try {
      make(folder_ / "failed");
    } catch (const std::runtime_error& failure) {
      fs::remove_all(folder_ / "failed");
      return failure.what();
    }
    return "no failure";
  }

  tests::TempFolder folder_;
  fs::path recipe_ = folder_ / "recipe.json";
  std::ostringstream log_;
};

json::value list_of(const fs::path& store) {
  const auto files = store::read_zip(store::read_whole_file(store / "pkgs-available.json.zip"));
  const auto list = framework::parse_json(store::find_file(files, "pkgs-available.json")->bytes);
  EXPECT_TRUE(list) << list.error();
  return *list;
}

TEST_F(DemoStore, TakesWhatTheFilesSay) {
  make(folder_ / "store");
  const json::value list = list_of(folder_ / "store/xsd");

  EXPECT_EQ(list.at("_META").at("build_number"), 7);
  ASSERT_TRUE(list.at("_DEPRECATED").as_object().contains("base-1.0.0"));
  const json::object& base = list.at("base-1.1.0").as_object();
  EXPECT_EQ(base.at("description"), "The base. It is small.");
  const std::string in_base = "xsd/base-1.1.0/schemas.zip|zip/base/2/";
  EXPECT_EQ(base.at("namespace_catalog"), (json::object{{"urn:base", in_base + "base.xsd"}}));
  // Under the locations at which the importing documents look for it.
  EXPECT_EQ(base.at("catalogs"),
            (json::object{{"http://b.example/base.xsd", in_base + "base.xsd"},
                          {"zendro://pkg/user-2.0.0/xsd/user-2.0.0/schemas.zip%7Czip/base/2/"
                           "base.xsd",
                           in_base + "base.xsd"}}));
  EXPECT_EQ(list.at("user-2.0.0").at("homepage"), "http://u.example/home");

  const json::object& page = list.at("page-dtd-1.0.0").as_object();
  const std::string in_page = "xsd/page-dtd-1.0.0/schemas.zip|zip/";
  EXPECT_EQ(page.at("publisher"), "O");
  EXPECT_EQ(page.at("catalogs"),
            (json::object{{"http://p.example/page.dtd", in_page + "page.dtd"}}));
  EXPECT_EQ(
      page.at("namespace_catalog"),
      (json::object{{"-//O//DTD Page//EN", {{"path", in_page + "page.dtd"}, {"public", true}}},
                    {"-//O//ENTITIES B//EN", {{"path", in_page + "b.ent"}, {"public", true}}}}));
  EXPECT_FALSE(list.as_object().contains("page-dtd-1.2.0"));
  const auto package_file =
      store::read_zip(store::read_whole_file(folder_ / "store/xsd/extra.zendro_xmlschemas"));
  ASSERT_NE(store::find_file(package_file, "ZENDROPKG-INF/pkg-meta.json"), nullptr);
  EXPECT_NE(store::find_file(package_file, "xsd/page-dtd-1.2.0/schemas.zip"), nullptr);
}

TEST_F(DemoStore, MakesTaxonomiesWhosePatchesKeepTheirNamespace) {
  make(folder_ / "store");
  const json::value list = list_of(folder_ / "store/xbrl");
  for (const std::string version : {"3.1.0", "3.1.1"}) {
    const json::value& meta = list.at("tax-" + version);
    const std::string in_zip = "xbrl/tax-" + version + "/taxonomy.zip|zip/tax/t.example/tax/3.1/";
    EXPECT_EQ(meta.at("catalogs"), (json::object{{"http://t.example/tax/3.1/", in_zip}}));
    EXPECT_EQ(meta.at("namespace_catalog"),
              (json::object{{"http://t.example/tax/3.1", in_zip + "tx.xsd"}}));
    EXPECT_EQ(meta.at("title"), "Tax");
    EXPECT_EQ(meta.at("entrypoints").at(0).at("href"), "http://t.example/tax/3.1/tx.xsd");
    const auto files = store::read_zip(
        store::read_whole_file(folder_ / ("store/xbrl/xbrl/tax-" + version + "/taxonomy.zip")));
    const store::SourceFile* labels =
        store::find_file(files, "tax/t.example/tax/3.1/tx-lab-en.xml");
    ASSERT_NE(labels, nullptr);
    EXPECT_THAT(labels->bytes, HasSubstr("Top &amp; more"));
    EXPECT_EQ(labels->bytes.find("tx_New") != std::string::npos, version == "3.1.1");
  }
}

TEST_F(DemoStore, HasTheSameBytesEveryTime) {
  make(folder_ / "one");
  for (const auto& entry : fs::recursive_directory_iterator(folder_ / "unpacked")) {
    if (!entry.is_regular_file()) continue;
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(30));
  }
  tests::set_variable("TZ", "JST-9");
  make(folder_ / "two");
  tests::unset_variable("TZ");
  const auto one = files_below(folder_ / "one");
  EXPECT_EQ(one.size(), 11U);
  EXPECT_EQ(one, files_below(folder_ / "two"));
}

TEST_F(DemoStore, RefusesWhatDoesNotHangTogether) {
  EXPECT_THAT(failure_with(R"("references": ["base-1"],)", ""),
              HasSubstr("user-2.0.0: user/user.xsd needs \"../base/2/base.xsd\""));
  EXPECT_THAT(failure_with(R"(["base-1"])", R"(["base-1", "page-dtd"])"),
              HasSubstr("none of its documents needs the reference page-dtd"));
  // Deprecated versions are never chosen by a reference.
  EXPECT_THAT(failure_with(R"(["base-1"])", R"(["base-1.0"])"),
              HasSubstr("reference base-1.0 matches no package"));
  EXPECT_THAT(failure_with(R"("http://gone.example/x.ent")", ""),
              HasSubstr("page.dtd needs \"http://gone.example/x.ent\""));
  EXPECT_THAT(failure_with(R"(["base/2/"])", R"(["base/2/", "base/3/"])"),
              HasSubstr("base-1.1.0: nothing matches base/3/"));
  EXPECT_THAT(failure_with(R"("http://p.example/")", R"("http://q.example/")"),
              HasSubstr("no location below the mapped prefix"));
  EXPECT_THAT(failure_with(R"("title": "User")", R"("titel": "User")"),
              HasSubstr("unknown member titel"));
  write(folder_ / "unpacked/deb/usr/schemas/user/second.xsd", "<no-schema/>");
  EXPECT_THAT(failure_with("User", "User"), HasSubstr("user/second.xsd:1: this is no XML schema"));
}

TEST_F(DemoStore, CheckFindsDamage) {
  make(folder_ / "store");
  const fs::path store = folder_ / "store/xsd";
  EXPECT_EQ(check_store(store, "xsd", "extra.zendro_xmlschemas").faults, "");
  write(store / "xsd/base-1.1.0/schemas.zip",
        store::read_whole_file(store / "xsd/user-2.0.0/schemas.zip"));
  const std::string faults = check_store(store, "xsd", "").faults;
  EXPECT_THAT(faults, HasSubstr("base-1.1.0: wrong digest of xsd/base-1.1.0/schemas.zip"));
  EXPECT_THAT(faults, HasSubstr("base-1.1.0: nothing at xsd/base-1.1.0/schemas.zip|zip/base/2/"));
  write(store / "pkgs-available.json.zip.sha256", "0");
  EXPECT_THAT(check_store(store, "xsd", "").faults, HasSubstr("wrong digest of pkgs-available"));
  EXPECT_THROW(make(folder_ / "store"), std::runtime_error);
}

std::string catalog(const std::string& entries) {
  return "<?xml version=\"1.0\"?><catalog xmlns=\"urn:oasis:names:tc:entity:xmlns:xml:catalog\">" +
         entries + "</catalog>";
}

TEST(InstallationCheck, FindsEveryDifference) {
  const tests::TempFolder folder;
  const fs::path cache = folder / ".xsd_cache";
  const fs::path member = folder / "xsd/a-1.0.0/xsd%2Fa-1.0.0%2Fm.zip";
  write(member, "bytes");
  write(cache / "pkgs-installed.json",
        R"({"a-1.0.0":{"_type":"xsd","_pkg_installdir":"a-1.0.0","files":{"xsd/a-1.0.0/m.zip":")" +
            framework::to_hex(framework::sha256("bytes")) +
            R"("},"catalogs":{"http://a/":"m"},"namespace_catalog":{"urn:a":"m"},)"
            R"("uri_mappings":{"http://b/":"http://a/"}}})");
  const std::string url = "zendro://pkg/a-1.0.0/xsd/a-1.0.0/m.zip%7Czip/";
  const std::string two_steps = "<uri name='n' uri='" + url + "x.xsd'/>";
  const std::string location =
      "<rewriteURI uriStartString='http://a/' rewritePrefix='" + url + "'/>";
  write(cache / "catalog.xml", catalog(location + two_steps));
  write(cache / "namespace-mapping-catalog.xml", catalog("<uri name='urn:a' uri='n'/>"));
  write(cache / "remapping.xml",
        catalog("<rewriteURI uriStartString='http://b/' rewritePrefix='http://a/'/>"));
  const auto faults = [&](const std::set<std::string>& expected) {
    return check_installation(folder.path(), "xsd", expected);
  };
  EXPECT_EQ(faults({"a-1.0.0"}), "");
  EXPECT_THAT(faults({}), HasSubstr("a-1.0.0 is in the installed list"));
  EXPECT_THAT(faults({}), HasSubstr("a folder is left"));
  EXPECT_THAT(faults({}), HasSubstr("mappings are left"));
  EXPECT_THAT(faults({"a-1.0.0", "b-1.0.0"}), HasSubstr("b-1.0.0 is not in the installed list"));

  write(cache / "catalog.xml", catalog(location));
  EXPECT_THAT(faults({"a-1.0.0"}), HasSubstr("urn:a leads to n, which is not installed"));
  write(cache / "catalog.xml", catalog(two_steps));
  EXPECT_THAT(faults({"a-1.0.0"}), HasSubstr("no catalog entry for http://a/"));
  write(member, "other");
  EXPECT_THAT(faults({"a-1.0.0"}), HasSubstr("wrong digest"));
  fs::remove(member);
  EXPECT_THAT(faults({"a-1.0.0"}), HasSubstr("no file"));
  EXPECT_THAT(faults({"a-1.0.0"}), HasSubstr("where no file is"));
  write(cache / "remapping.xml", "");
  EXPECT_THROW(faults({"a-1.0.0"}), std::runtime_error);
}

}  // namespace
}  // namespace zendro::demo
