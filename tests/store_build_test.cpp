// Making a store, building its tree, and installing from what was built.
#include <fstream>

#include "app/options/options.h"
#include "pkg/catalogs.h"
#include "pkg/pkg_io.h"
#include "tests/environment.h"
#include "tests/store_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string schema(const std::string& name, const std::string& contents = {}) {
  return "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\" targetNamespace=\"" + name +
         "\">\n" + contents + "</xs:schema>\n";
}

std::string import_of(const std::string& name, const std::string& location) {
  return "<xs:import namespace=\"" + name + "\" schemaLocation=\"" + location + "\"/>\n";
}

class BuiltStoreTest : public StoreTest {
 protected:
  using StoreTest::StoreTest;

  /// "base" is a folder, "user" an archive that needs it under two locations.
  void add_base_and_user() {
    write_text(folder_ / "base/base.xsd",
               schema("urn:base", "<xs:include schemaLocation=\"more.xsd\"/>"));
    write_text(folder_ / "base/more.xsd", schema("urn:base"));
    write_text(folder_ / "base/dtd" / framework::path_from_utf8("n\xC3\xA4me.dtd"),
               "<!ELEMENT x EMPTY>");
    write_text(folder_ / "base/catalog.xml",
               "<c:catalog xmlns:c=\"urn:oasis:names:tc:entity:xmlns:xml:catalog\">"
               "<c:group xml:base=\"dtd/\"><c:public publicId=\"-//Acme//DTD  X//EN\" "
               "uri=\"n%C3%A4me.dtd\"/></c:group>"
               "<c:uri name=\"http://base.example/gone.xsd\" uri=\"../gone.xsd\"/></c:catalog>");
    write_text(
        folder_ / "user.zip",
        make_zip({{"sub/user.xsd",
                   schema("urn:user", import_of("urn:base", "../base/base.xsd") +
                                          import_of("urn:base", "http://base.example/b.xsd") +
                                          import_of("urn:none", "http://none.example/n.xsd"))}}));
    init();
    done({"add", "$/dir", "$/base", "--name", "base", "--version", "1.0.0"});
    added_ = done({"add", "$/dir", "$/user.zip", "--name", "user", "--version", "2.1.0"});
  }

  void update() {
    const std::string url = server_.url("api/" + type() + "-manager/v1/bootstrap");
    set_option(app::option::store_bootstrap_url, json::value(json::string(url)));
    serve_tree();
    ASSERT_TRUE(cache().update_store_information(true)) << testing::PrintToString(texts());
  }

  /// The bytes that the catalogs lead to from a location, namespace or public identifier.
  std::string resolved(const std::string& text) {
    const auto installed = cache().load_installed();
    const auto steps = pkg::trace_in_catalogs(*installed, text);
    if (steps.empty()) return "nothing";
    pkg::PkgIOCallback packages(std::make_shared<const json::object>(cache().options()));
    const auto stream = packages.create(steps.back().target);
    if (stream == nullptr || !stream->open(steps.back().target)) return "no file";
    return framework::read_all(*stream, 0, 1 << 20).value_or("unreadable");
  }

  [[nodiscard]] std::string out(const std::string& path) const {
    return file_text(folder_ / "out" / path);
  }

  std::string added_;
};

TEST_F(BuiltStoreTest, IsInstalledAndItsCatalogsResolve) {
  add_base_and_user();
  EXPECT_THAT(added_, HasSubstr("base-1.0      sub/user.xsd  ../base/base.xsd"));
  EXPECT_THAT(added_, HasSubstr("nothing here  sub/user.xsd  http://none.example/n.xsd"));
  build();
  update();
  ASSERT_TRUE(cache().install({"user"}));
  EXPECT_THAT(installed(), ElementsAre("base-1.0.0", "user-2.1.0"));
  const std::string base = file_text(folder_ / "base/base.xsd");
  EXPECT_EQ(resolved("urn:base"), base);
  EXPECT_EQ(resolved("http://base.example/b.xsd"), base);
  EXPECT_EQ(resolved("zendro://pkg/user-2.1.0/xsd/user-2.1.0/schemas.zip%7Czip/base/base.xsd"),
            base);
  EXPECT_EQ(resolved("-//Acme//DTD X//EN"), "<!ELEMENT x EMPTY>");

  // A patch level answers to what its forerunner was asked for.
  write_text(folder_ / "base/base.xsd", schema("urn:base", "<!-- patched -->"));
  done({"add", "$/dir", "$/base", "--name", "base", "--version", "1.0.1"});
  done({"deprecate", "$/dir", "base-1.0.0"});
  build();
  update();
  ASSERT_TRUE(cache().install({"base"}));
  EXPECT_THAT(resolved("http://base.example/b.xsd"), HasSubstr("patched"));
}

TEST_F(BuiltStoreTest, PackageFileInstallsWithoutTheStore) {
  add_base_and_user();
  build();
  update();
  EXPECT_THAT(refused({"package-file", "$/out", "user", "-o", "$/user.zip"}),
              HasSubstr(".zendro_xmlschemas"));
  EXPECT_EQ(done({"package-file", "$/out", "user", "-o", "$/u.zendro_xmlschemas"}),
            "base-1.0.0\nuser-2.1.0\n");
  take_requests();
  ASSERT_TRUE(cache().install({(folder_ / "u.zendro_xmlschemas").string()}));
  EXPECT_THAT(installed(), ElementsAre("base-1.0.0", "user-2.1.0"));
  EXPECT_THAT(take_requests(), Not(testing::Contains(HasSubstr(".zip"))));
  write_text(folder_ / "out/xsd/base-1.0.0/schemas.zip", "damaged");
  EXPECT_THAT(refused({"package-file", "$/out", "user", "-o", "$/u.zendro_xmlschemas"}),
              HasSubstr("schemas.zip: has not the digest of the list"));
}

TEST_F(BuiltStoreTest, IsTheSameBytesEveryTime) {
  add_base_and_user();
  build();
  const auto tree = [&](const std::string& folder) {
    std::map<std::string, std::string> files;
    for (const auto& [path, bytes] : snapshot()) {
      if (path.starts_with(folder + "/")) files[path.substr(folder.size())] = bytes;
    }
    return files;
  };
  const auto first = tree("out");
  EXPECT_EQ(first.size(), 5U);
  EXPECT_EQ(done({"build", "$/dir", "-o", "$/out"}), "build 1 holds all of it already\n");
  EXPECT_EQ(tree("out"), first);
  // In another place, at another time, in another order of the folders' entries.
  fs::create_directories(folder_ / "elsewhere");
  fs::copy(folder_ / "dir", folder_ / "elsewhere/dir", fs::copy_options::recursive);
  for (const auto& entry : fs::recursive_directory_iterator(folder_ / "elsewhere")) {
    if (!entry.is_regular_file()) continue;
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(9999));
  }
  set_variable("TZ", "Asia/Tokyo");
  done({"build", "$/elsewhere/dir", "-o", "$/elsewhere/out"});
  unset_variable("TZ");
  EXPECT_EQ(tree("elsewhere/out"), first);
}

TEST_F(BuiltStoreTest, NeverChangesWhatWasPublished) {
  add_base_and_user();
  build();
  const std::string member = out("xsd/base-1.0.0/schemas.zip");
  const std::string list = out("pkgs-available.json.zip");
  write_text(folder_ / "out/pkgs-available.json.zip.minisig", "of build 1");
  write_text(folder_ / "dir/packages/base/1.0.0/files/more.xsd", schema("urn:base", " "));
  EXPECT_THAT(
      refused({"build", "$/dir", "-o", "$/out"}),
      AllOf(HasSubstr("$/dir/packages/base/1.0.0/files"), HasSubstr("packages/base/1.0.1")));
  // Not when it has been gone in between, either.
  fs::rename(folder_ / "dir/packages/base", folder_ / "kept");
  EXPECT_THAT(store({"build", "$/dir", "-o", "$/out"}).err,
              AllOf(HasSubstr("1 members are in no list now"), HasSubstr("sign\" again")));
  EXPECT_FALSE(fs::exists(folder_ / "out/pkgs-available.json.zip.minisig"));
  fs::rename(folder_ / "kept", folder_ / "dir/packages/base");
  EXPECT_THAT(refused({"build", "$/dir", "-o", "$/out"}), HasSubstr("never changes its bytes"));
  EXPECT_EQ(out("xsd/base-1.0.0/schemas.zip"), member);
  // Nor does another store take its place.
  done({"init", "$/other", "--type", "xsd"});
  done({"add", "$/other", "$/base", "--name", "other", "--version", "1.0.0"});
  EXPECT_THAT(refused({"build", "$/other", "-o", "$/out"}), HasSubstr("none of them is of this"));
  // As it was it may come back. What is damaged in the tree is made whole again.
  write_text(folder_ / "dir/packages/base/1.0.0/files/more.xsd", schema("urn:base"));
  write_text(folder_ / "out/xsd/base-1.0.0/schemas.zip", "damaged");
  EXPECT_EQ(done({"build", "$/dir", "-o", "$/out"}),
            "build 3: 2 package versions, 1 of them packed\n");
  EXPECT_EQ(out("xsd/base-1.0.0/schemas.zip"), member);
  EXPECT_NE(out("pkgs-available.json.zip"), list);
}

TEST_F(BuiltStoreTest, NamesFileAndLineOfWhatManagersWouldRefuse) {
  write_text(folder_ / "base/a.xsd", schema("urn:base"));
  init();
  done({"add", "$/dir", "$/base", "--name", "base", "--version", "1.0.0"});
  build();
  const auto before = snapshot();
  const fs::path file = folder_ / "dir/packages/base/1.0.0/package.json";
  const std::vector<std::pair<std::string, std::string>> faulty = {
      {R"({"title": "a",
           "references": "other-1"})",
       ":2: write an array of packages"},
      {R"({"title": 3})", ":1: write a text"},
      {"{\n\"catalogs\": {\"http://a/\": \"a.xsd\",\n\"http://b/\\\"{\": \"b.xsd\"}}",
       ":3: \"b.xsd\" is no file below files/"},
      {R"({"catalogs": {"http://a": "./"}})", "is a folder; then write the location with a slash"},
      {R"({"namespace_catalog": {"urn:a": {"public": true}}})", "{\"path\": \"...\""},
      {R"({"_pkg_installdir": "../x"})", "write \"base-1.0.0\""},
      {R"({"_type": "xbrl"})", "write \"xsd\""},
      {R"({"files": {}})", "is made by \"build\""},
      {"{\n\"deprecated\": 1}", ":2: write \"deprecated\": true"},
      {"{\"title\": \"a\",\n\n]", ":3: this is no JSON"}};
  for (const auto& [text, fault] : faulty) {
    write_text(file, text);
    EXPECT_THAT(refused({"build", "$/dir", "-o", "$/out"}),
                AllOf(HasSubstr("packages/base/1.0.0/package.json"), HasSubstr(fault)));
  }
  write_text(file, before.at("dir/packages/base/1.0.0/package.json"));
  fs::create_directories(folder_ / "dir/packages/base/1.0");
  EXPECT_THAT(refused({"build", "$/dir", "-o", "$/out"}), HasSubstr("\"base-1.0\" is no package"));
  fs::remove(folder_ / "dir/packages/base/1.0");
  for (const char* version : {"1.0", "1.0.70000", "1.0.0.", "01.0.0", "x"}) {
    EXPECT_THAT(refused({"add", "$/dir", "$/base", "--name", "a", "--version", version}),
                HasSubstr("three numbers"));
  }
  for (const char* name : {"con", "a/b", "a#b", "..", "a|b"}) {
    EXPECT_NE(refused({"add", "$/dir", "$/base", "--name", name, "--version", "1.0.0"}), "");
  }
  EXPECT_EQ(snapshot(), before);
}

TEST_F(BuiltStoreTest, RefusesHostileAndBrokenSources) {
  init();
  const auto before = snapshot();
  const std::string good = schema("urn:a");
  const std::string tp = "<taxonomyPackage/>";
  const std::vector<std::pair<std::string, std::string>> hostile = {
      {make_zip({{"../a.xsd", good}}), "cannot be unpacked everywhere"},
      {make_zip({{"/a.xsd", good}}), "cannot be unpacked everywhere"},
      {make_zip({{"a\\b.xsd", good}}), "cannot be unpacked everywhere"},
      {make_zip({{"a.xsd", good}, {"A.xsd", good}}), "A.xsd"},
      {make_zip({{"a.xsd", good}, {"a.xsd", good}}), "a.xsd"},
      {make_zip({{"a", good}, {"a/b.xsd", good}}), "a"},
      {make_zip({{.name = "a.xsd", .data = "/etc/passwd", .mode = 0120777}}), "is a link"},
      {make_zip({{.name = "a.xsd", .data = good, .crc = 1}}), "a.xsd"},
      {make_zip({{.name = "a.xsd", .data = good, .size = 1ull << 40}}), "unpacks to more than"},
      {make_zip({{"META-INF/taxonomyPackage.xml", tp}, {"b/META-INF/taxonomyPackage.xml", tp}}),
       "a second taxonomy package"},
      {make_zip({{"a.xsd", "<xs:schema>\n\n<"}}), "a.xsd:3: this is no XML schema"},
      {"no archive", "this is no zip archive"}};
  for (const auto& [bytes, fault] : hostile) {
    write_text(folder_ / "hostile.zip", bytes);
    EXPECT_THAT(refused({"add", "$/dir", "$/hostile.zip", "--name", "a", "--version", "1.0.0"}),
                HasSubstr(fault));
  }
  fs::remove(folder_ / "hostile.zip");
  EXPECT_EQ(snapshot(), before);
}

class BuiltTaxonomyTest : public BuiltStoreTest {
 protected:
  BuiltTaxonomyTest() : BuiltStoreTest("xbrl") {}
};

TEST_F(BuiltTaxonomyTest, IsDescribedByItsTaxonomyPackage) {
  write_text(
      folder_ / "tax.zip",
      make_zip(
          {{"tax-2025/META-INF/taxonomyPackage.xml",
            R"(<p:taxonomyPackage xmlns:p="http://xbrl.org/2016/taxonomy-package" xml:lang="de">
  <p:name>Beispiel</p:name><p:name xml:lang="en-GB">Example
    taxonomy</p:name><p:description xml:lang="fr">Exemple</p:description>
  <p:publisher>Firm</p:publisher><p:publisherURL>http://firm.example</p:publisherURL>
  <p:entryPoints>
    <p:entryPoint><p:name>Banks</p:name><p:entryPointDocument href="http://firm.example/2025/bank.xsd"/>
      <p:entryPointDocument href="http://firm.example/2025/more.xsd"/><p:languages/></p:entryPoint>
    <p:entryPoint><p:name>All</p:name><p:entryPointDocument href="http://firm.example/x/all.xsd"/></p:entryPoint>
  </p:entryPoints>
  <p:versioningReports><p:versioningReport href="http://firm.example/2025/report.xml"/></p:versioningReports>
</p:taxonomyPackage>)"},
           {"tax-2025/META-INF/catalog.xml",
            R"(<catalog xmlns="urn:oasis:names:tc:entity:xmlns:xml:catalog">
  <rewriteURI uriStartString="http://firm.example/2025/" rewritePrefix="../firm/2025/"/>
  <rewriteURI uriStartString="http://firm.example/x/a" rewritePrefix="../firm/x/a"/>
  <rewriteURI uriStartString="http://evil.example/" rewritePrefix="../../../etc/"/></catalog>)"},
           {"tax-2025/firm/2025/bank.xsd", schema("urn:bank")},
           {"tax-2025/firm/2025/more.xsd", schema("urn:more")},
           {"tax-2025/firm/x/all.xsd",
            schema("urn:all",
                   import_of("urn:bank", "http://firm.example/2025/bank.xsd") +
                       import_of("http://www.xbrl.org/2003/instance", "http://x.example/i"))}}));
  init();
  const ProcessOutcome added =
      store({"add", "$/dir", "$/tax.zip", "--name", "tax", "--version", "2025.1.0"});
  EXPECT_THAT(added.err, HasSubstr("http://evil.example/ leads to a place outside of the package"));
  EXPECT_EQ(added.out, "tax-2025.1.0: 5 files, 2 locations, 3 namespaces, 0 public identifiers\n");
  const auto text = file_text(folder_ / "dir/packages/tax/2025.1.0/package.json");
  const json::object description = json::parse(text).as_object();
  EXPECT_EQ(description.at("title"), "Example taxonomy");
  EXPECT_EQ(description.at("description"), "Exemple");
  EXPECT_EQ(description.at("publisher"), "Firm");
  EXPECT_EQ(description.at("entrypoints").as_array().size(), 3U);
  EXPECT_EQ(description.at("versioning_reports"),
            json::value(json::array{"http://firm.example/2025/report.xml"}));
  build();
  update();
  ASSERT_TRUE(cache().install({"tax"}));
  EXPECT_EQ(resolved("http://firm.example/2025/more.xsd"), schema("urn:more"));
  EXPECT_THAT(resolved("http://firm.example/x/all.xsd"), HasSubstr("urn:all"));
}

}  // namespace
}  // namespace zendro::tests
