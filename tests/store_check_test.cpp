// What a check finds in stores that are made here, whole and with one fault each.
#include <algorithm>
#include <functional>
#include <map>
#include <vector>

#include <gmock/gmock.h>

#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/text/json.h"
#include "tests/loopback/loopback_server.h"
#include "tests/signed_store.h"
#include "tests/temp_folder.h"
#include "tests/whole_file.h"
#include "tests/zip_builder.h"

#include "store/build.h"
#include "store/check/check_store.h"
#include "store/check/open_sources.h"
#include "store/check/open_store.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
namespace json = boost::json;
using store::Finding;
using store::Findings;
using store::Severity;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string schema_of(const std::string& xml_namespace, const std::string& body) {
  return R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema" targetNamespace=")" +
         xml_namespace + R"(" xmlns:o="urn:other" xmlns:t=")" + xml_namespace + "\">\n" + body +
         "\n</xs:schema>\n";
}

/// Of ASCII.
std::string utf16(const std::string& text) {
  std::string wide = "\xFF\xFE";
  for (const char c : text) wide.append({c, '\0'});
  return wide;
}

/// A store of two packages, of which "main" needs "other", before it is written.
struct Draft {
  std::string type = "xsd";
  std::map<std::string, std::vector<ZipEntry>> files;  ///< by identity
  json::object list;

  Draft() {
    list["_META"] = {{"build_number", 3}};
    list["_DEPRECATED"] = json::object();
    add("other-1.0.0",
        {{"o.xsd", schema_of("urn:other", R"(<xs:element name="o" type="xs:int"/>)")}});
    add("main-2.1.0",
        {{"a/m.xsd", schema_of("urn:main",
                               "<xs:include\n  schemaLocation='part.xsd'/>"
                               "<xs:import namespace='urn:other'/>"
                               "<xs:import namespace='http://www.w3.org/XML/1998/namespace'/>"
                               "<xs:element name='m'><xs:complexType><xs:sequence>"
                               "<xs:element ref='o:o'/><xs:element ref='t:p'/></xs:sequence>"
                               "<xs:attribute ref='xml:lang'/></xs:complexType></xs:element>")},
         {"a/part.xsd", schema_of("urn:main", "<xs:element name='p'/>")},
         {"d.dtd", "<!ENTITY % x SYSTEM \"d.mod\">\n%x;\n<!ELEMENT d (e)>"},
         {"d.mod", "<!ELEMENT e EMPTY>"}});
    of("main-2.1.0")["references"] = {"other-1"};
    of("main-2.1.0")["catalogs"] = {{"http://main.example/", member("main-2.1.0") + "|zip/a/"}};
    of("main-2.1.0")["uri_mappings"] = {{"http://old.example/", "http://main.example/"}};
    of("other-1.0.0")["namespace_catalog"] = {{"urn:other", member("other-1.0.0") + "|zip/o.xsd"}};
  }

  [[nodiscard]] std::string member(const std::string& identity) const {
    return type + "/" + identity + "/schemas.zip";
  }
  json::object& of(const std::string& identity) { return list.at(identity).as_object(); }
  void add(const std::string& identity, std::vector<ZipEntry> entries) {
    list[identity] = {{"_name", identity.substr(0, identity.rfind('-'))},
                      {"_type", type},
                      {"_pkg_installdir", identity}};
    files[identity] = std::move(entries);
  }
  /// Puts a file in the place of the one of its name, or adds it.
  void put(const std::string& identity, const std::string& name, const std::string& bytes) {
    for (ZipEntry& entry : files.at(identity)) {
      if (entry.name == name) return void(entry.data = bytes);
    }
    files.at(identity).push_back({name, bytes});
  }

  void write(const fs::path& folder) {
    for (const auto& [identity, entries] : files) {
      const std::string archive = make_zip(entries);
      fs::create_directories((folder / member(identity)).parent_path());
      EXPECT_TRUE(framework::write_file(folder / member(identity), archive));
      if (!list.contains(identity)) continue;
      json::value& names = of(identity)["files"];
      if (names.is_null())
        names = {{member(identity), framework::to_hex(framework::sha256(archive))}};
    }
    write_list(folder, json::serialize(list));
    const fs::path bootstrap = folder / "api" / (type + "-manager") / "v1" / "bootstrap";
    fs::create_directories(bootstrap.parent_path());
    EXPECT_TRUE(framework::write_file(bootstrap, R"({"pkg.store_url": "https://s.example/s/"})"));
  }

  static void write_list(const fs::path& folder, const std::string& text) {
    write_archive(folder, make_zip({{"pkgs-available.json", text}}));
  }
  static void write_archive(const fs::path& folder, const std::string& archive) {
    EXPECT_TRUE(framework::write_file(folder / "pkgs-available.json.zip", archive));
    EXPECT_TRUE(framework::write_file(folder / "pkgs-available.json.zip.sha256",
                                      framework::to_hex(framework::sha256(archive))));
  }
};

Findings findings_of(const framework::Result<store::OpenedStore>& opened) {
  EXPECT_EQ(cause_of(opened), "");
  if (!opened) return {};
  Findings all = opened->findings;
  if (!opened->store) return all;
  const Findings more = store::check_store(*opened->store).findings;
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

/// All findings as lines, for the eye and for matchers.
std::vector<std::string> lines_of(const Findings& findings) {
  std::vector<std::string> lines;
  for (const Finding& finding : findings) {
    lines.push_back(std::string(finding.severity == Severity::error ? "error " : "warning ") +
                    finding.package + " " + finding.file + ":" + std::to_string(finding.line) +
                    " " + finding.what + " -> " + finding.advice);
  }
  return lines;
}

std::vector<std::string> check(Draft& draft) {
  const TempFolder folder;
  draft.write(folder.path());
  return lines_of(findings_of(store::open_tree(folder.path())));
}

TEST(StoreCheck, SaysNothingOfAWholeStore) {
  Draft draft;
  const TempFolder folder;
  draft.write(folder.path());
  const auto opened = store::open_tree(folder.path());
  ASSERT_TRUE(opened && opened->store);
  const store::StoreCheck check = store::check_store(*opened->store);
  EXPECT_THAT(lines_of(check.findings), IsEmpty());
  EXPECT_EQ(check.packages, 2u);
  EXPECT_EQ(check.documents, 4u);
}

TEST(StoreCheck, FindsEachFault) {
  struct Row {
    std::function<void(Draft&)> spoil;
    std::vector<std::string> found;  ///< a part of each line
  };
  // Members in the list, as JSON with other quotes.
  const auto set = [](const std::string& package, const char* key, std::string text) {
    std::replace(text.begin(), text.end(), '\'', '"');
    return [=](Draft& draft) { draft.of(package + ".0")[key] = json::parse(text); };
  };
  const auto put = [](const char* name, const std::string& bytes) {
    return [=](Draft& draft) { draft.put("main-2.1.0", name, bytes); };
  };
  const std::string other = "other-1.0";
  const std::string main = "main-2.1";
  const std::string in_list = "error main-2.1.0 pkgs-available.json:0 ";
  const std::string of_other = "error other-1.0.0 pkgs-available.json:0 ";
  const std::string in_member = "error main-2.1.0 xsd/main-2.1.0/schemas.zip:0 ";
  const std::string zip = "xsd/main-2.1.0/schemas.zip";
  const std::string digest = "':'" + std::string(64, '0') + "'}";
  const std::vector<Row> rows = {
      // The list.
      {[](Draft& draft) { draft.list["_META"] = json::object(); },
       {"error  pkgs-available.json:0 there is no build number"}},
      {[](Draft& draft) { draft.list["half-1.2"] = json::object(); },
       {"error half-1.2 pkgs-available.json:0 the key is no identity"}},
      {set(main, "title", "1"), {in_list + "its metadata has a member of the wrong type"}},
      {set(main, "_name", "'mein'"), {in_list + "\"_name\" is \"mein\" -> write \"main\""}},
      // Folders.
      {set(main, "_pkg_installdir", "'..'"), {in_list + "clients refuse its folder: '..' is not"}},
      {set(main, "_type", "'xbrl'"),
       {in_list + "clients refuse its folder: the folder belongs to another package type"}},
      {set(main, "_type", "'.xsd_cache'"),
       {in_list + "clients refuse its folder: the folder belongs to the cache"}},
      {set(main, "_pkg_installdir", "'other-1.0.0'"),
       {"error other-1.0.0 pkgs-available.json:0 its folder is that of main-2.1.0"}},
      // Members.
      {set(main, "files", "{'" + zip + digest), {in_member + "its bytes have the digest "}},
      {set(main, "files", "{'" + zip + "':'0'}"), {in_list + zip + ": \"0\" is no SHA-256 digest"}},
      {set(main, "files", "{'xsd/gone.zip" + digest), {"error main-2.1.0 xsd/gone.zip:0 "}},
      {set(main, "files", "{'http://elsewhere.example/x.zip" + digest),
       {in_list + "http://elsewhere.example/x.zip: clients do not ask for it",
        "error main-2.1.0 http://elsewhere.example/x.zip:0"}},
      {put("../up.xsd", "<x/>"), {in_member}},
      {put("A/m.xsd", "<x/>"), {in_member}},
      // References and conflicts.
      {set(main, "references", "['other-2']"),
       {in_list + "nothing matches the reference \"other-2\" -> the newest version of that name is "
                  "other-1.0.0",
        "error main-2.1.0 a/m.xsd:3 nothing resolves the namespace \"urn:other\" -> add "
        "\"other-1.0\" to \"references\""}},
      {set(other, "references", "['main-2', 'other']"),
       {in_list + "references lead in a circle: main-2.1.0, other-1.0.0, main-2.1.0",
        of_other + "references itself"}},
      {set(other, "conflicting_pkgs", "['other']"),
       {in_list + "is in conflict with other-1.0.0, which it needs",
        of_other + "is in conflict with itself"}},
      {set(main, "conflicting_pkgs", "['other-1', 'gone']"),
       {in_list + "cannot be installed: with it come main-2.1.0 and other-1.0.0",
        "warning main-2.1.0 pkgs-available.json:0 nothing matches the conflict \"gone\""}},
      // Names.
      {set(main, "catalogs", "{'http://main.example/': '" + zip + "|zip/b/'}"),
       {in_list + "\"http://main.example/\" of \"catalogs\" leads to nothing: there is no \"b/\""}},
      {set(main, "uri_mappings", "{'http://a/': 'http://b/', 'http://b/': 'http://a/'}"),
       {in_list + "the mapping of \"http://a/\" leads in a circle",
        in_list + "the mapping of \"http://b/\" leads in a circle"}},
      {set(main, "entrypoints", "[{'name': 'M', 'href': 'http://main.example/z.xsd'}]"),
       {in_list + "the entry point \"http://main.example/z.xsd\" leads to nothing"}},
      {set(other, "catalogs", "{'http://main.example/': 'xsd/other-1.0.0/schemas.zip|zip/'}"),
       {of_other + "\"http://main.example/\" leads to another document than in main-2.1.0"}},
      // Documents.
      {put("a/part.xsd", schema_of("urn:main", "<xs:element name='p'\n type='t:gone'/>")),
       {"error main-2.1.0 a/part.xsd:3 "}},
      {put("a/part.xsd", "<xs:schema"), {"error main-2.1.0 a/part.xsd:1 "}},
      {put("alone.xsd", "<schema/>"), {"error main-2.1.0 alone.xsd:0 "}},
      {put("wide.xsd", utf16(schema_of("urn:w", "<xs:include schemaLocation='gone.xsd'/>"))),
       {"error main-2.1.0 wide.xsd:2 "}},
      {put("alone.xsd", schema_of("urn:alone",
                                  "<xs:import namespace='urn:gone' schemaLocation='gone.xsd'/>\n"
                                  "<xs:element name='x' type='y:t' xmlns:y='urn:gone'/>")),
       {"error main-2.1.0 alone.xsd:2 nothing resolves \"gone.xsd\" (namespace \"urn:gone\") -> "
        "add "
        "the document to the package"}},
      {put("l.xml",
           "<l:linkbase xmlns:l='http://www.xbrl.org/2003/linkbase' xmlns:x='http://"
           "www.w3.org/1999/xlink'>\n<l:loc x:type='locator' x:href='gone.xsd#c'/>"
           "</l:linkbase>"),
       {"error main-2.1.0 l.xml:2 nothing resolves \"gone.xsd\""}},
      {put("d.dtd", "<!ELEMENT d (e)>\n<!ENTITY % x PUBLIC \"-//X\" \"gone.mod\">\n%x;"),
       {"error main-2.1.0 d.dtd:3 nothing resolves "}},
      {put("d.mod", "<!ELEMENT e EMPT>"), {"error main-2.1.0 d.mod:1 "}},
  };
  for (std::size_t at = 0; at < rows.size(); ++at) {
    SCOPED_TRACE("row " + std::to_string(at));
    Draft draft;
    rows[at].spoil(draft);
    std::vector<testing::Matcher<std::string>> expected;
    for (const std::string& part : rows[at].found) expected.emplace_back(HasSubstr(part));
    EXPECT_THAT(check(draft), testing::ElementsAreArray(expected));
  }
}

TEST(StoreCheck, NamesListsThatClientsRefuse) {
  const auto found = [](const std::string& list) {
    const TempFolder folder;
    Draft::write_list(folder.path(), list);
    return lines_of(findings_of(store::open_tree(folder.path())));
  };
  const auto refused = [](const char* why) {
    return ElementsAre(
        AllOf(StartsWith("error  pkgs-available.json:0 clients refuse it: "), HasSubstr(why)));
  };
  EXPECT_THAT(found("[]"), refused("JSON map"));
  EXPECT_THAT(found("{\"_META\": "), refused("incomplete"));
  EXPECT_THAT(found("{\"a-1.0.0\": {\"x\":" + std::string(40, '[') + std::string(40, ']') + "}}"),
              refused("deep"));
  std::string references = "\"r\"";
  for (int at = 0; at < 10'000; ++at) references += ",\"r\"";
  EXPECT_THAT(found(R"({"a-1.0.0": {"references": [)" + references + "]}}"), refused("10000"));

  const TempFolder folder;
  EXPECT_THAT(cause_of(store::open_tree(folder.path())), HasSubstr("pkgs-available.json.zip"));
  Draft::write_archive(folder.path(), "no archive");
  fs::remove(folder / "pkgs-available.json.zip.sha256");
  EXPECT_THAT(lines_of(findings_of(store::open_tree(folder.path()))),
              ElementsAre(HasSubstr("sha256:0 clients that take the list from a folder refuse it"),
                          HasSubstr("clients cannot unpack it")));
}

TEST(StoreCheck, ReadsSourcesAsTheBuildPublishesThem) {
  const TempFolder folder;
  const fs::path package = folder / "packages" / "p" / "1.0.0";
  fs::create_directories(package / "files");
  const auto write = [](const fs::path& path, const std::string& text) {
    EXPECT_TRUE(framework::write_file(path, text));
  };
  const auto found = [&] { return lines_of(findings_of(store::open_sources(folder.path()))); };
  write(package / "files" / "p.xsd", schema_of("urn:p", "<xs:import namespace='urn:tool'/>"));
  write(package / "package.json", R"({"title": "P", "namespace_catalog": {"urn:p": "p.xsd"}})");
  write(folder / "store.json", R"({"type": "xsd"})");
  EXPECT_THAT(found(),
              ElementsAre(HasSubstr("error p-1.0.0 p.xsd:2 nothing resolves the namespace")));

  // What every tool brings along is published with the list.
  write(folder / "store.json", R"({"type": "xsd", "builtin": ["urn:tool"]})");
  EXPECT_THAT(found(), IsEmpty());
  const store::BuildEvents quiet{[](const std::string&) {}, [](std::size_t, std::size_t) {}};
  ASSERT_TRUE(store::build_tree(folder.path(), folder / "out", quiet, {}));
  EXPECT_THAT(lines_of(findings_of(store::open_tree(folder / "out"))), IsEmpty());

  write(package / "package.json",
        "{\"title\": \"P\",\n\"namespace_catalog\": {\"urn:p\": \"q.xsd\"}}");
  EXPECT_THAT(found(), ElementsAre(HasSubstr("package.json:2 \"q.xsd\" is no file")));
}

TEST(StoreCheck, LooksAtDigestAndSignatureAsTheyAreServed) {
  const TempFolder folder;
  loopback::LoopbackServer server;
  const std::string archive = signed_store::archive();
  const std::string good = framework::to_hex(framework::sha256(archive));
  const std::string path = "/s/pkgs-available.json.zip";
  const auto keys = framework::parse_public_keys(signed_store::kKey);
  ASSERT_TRUE(keys);
  const auto found = [&](const store::SigningKeys& wanted) {
    const auto opened = store::open_served(server.url("s/"), wanted);
    EXPECT_EQ(cause_of(opened), "");
    return opened ? lines_of(opened->findings) : std::vector<std::string>();
  };
  const auto serve = [&](const std::string& digest) {
    server.serve(path, loopback::Reply::bytes(archive, {{"x-amz-meta-sha256", digest}}));
  };
  EXPECT_NE(cause_of(store::open_served(server.url("s/"))), "");
  server.serve(path, loopback::Reply::bytes(archive));
  EXPECT_THAT(found({}), ElementsAre(HasSubstr("served without its digest")));
  serve(std::string(64, '0'));
  EXPECT_THAT(found({}), ElementsAre(AllOf(HasSubstr("clients refuse the list"), HasSubstr(good))));
  serve(good);
  EXPECT_THAT(found({}), IsEmpty());
  EXPECT_THAT(found(*keys), ElementsAre(HasSubstr("minisig:0 there is no signature")));
  server.serve(path + ".minisig", loopback::Reply::bytes(signed_store::kOtherSignature));
  EXPECT_THAT(found(*keys), ElementsAre(HasSubstr("clients with the key refuse the list")));
  server.serve(path + ".minisig", loopback::Reply::bytes(signed_store::kSignature));
  EXPECT_THAT(found(*keys), IsEmpty());

  // Through the bootstrap document, and one that leads elsewhere.
  const std::string bootstrap = "/s/api/xsd-manager/v1/bootstrap";
  const auto lead_to = [&](const std::string& url) {
    server.serve(bootstrap, loopback::Reply::bytes(R"({"pkg.store_url":")" + url + "\"}"));
  };
  lead_to(server.url("s/"));
  EXPECT_THAT(lines_of(findings_of(store::open_served(server.url(bootstrap.substr(1))))),
              ElementsAre(HasSubstr("with http"), HasSubstr("error a-1.0.0"),
                          HasSubstr("error a-1.0.0"), HasSubstr("has no files")));
  lead_to(server.url("elsewhere/"));
  EXPECT_THAT(found({}),
              ElementsAre(HasSubstr("clients are led to another store"), HasSubstr("with http")));
}

}  // namespace
}  // namespace zendro::tests
