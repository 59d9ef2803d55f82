// The catalog files, byte for byte and as XML.
#include "pkg/catalogs.h"

#include <pugixml.hpp>

#include "app/options/options.h"
#include "pkg/package_url.h"
#include "pkg/percent_encoding.h"
#include "pkg/pkg_xml_writer.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;

constexpr const char* kRoot =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<catalog xmlns=\"urn:oasis:names:tc:entity:xmlns:xml:catalog\" "
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xsi:schemaLocation=\"urn:oasis:names:tc:entity:xmlns:xml:catalog Catalog.xsd\" "
    "xmlns:kel=\"http://www.zendro.example/catalog_ext\"";

class CatalogsTest : public ManagerTest {
 protected:
  static TestPackage package(const std::string& identity, json::object more) {
    return {identity, {}, {}, {}, std::move(more)};
  }
  // The catalog without its root's start tag and end tag, one entry an element.
  std::vector<std::string> entries(const char* name) {
    std::vector<std::string> lines;
    std::istringstream text(file_text(cache_file(name)));
    for (std::string line; std::getline(text, line);) {
      if (line.starts_with("  ")) lines.push_back(line.substr(2));
    }
    return lines;
  }
};

TEST_F(CatalogsTest, EmptyCatalogsAreCompleteDocuments) {
  start_with({package("a-1.0.0", {{"catalogs", {{"http://a/", "a/"}}}})});
  EXPECT_EQ(file_text(cache_file("catalog.xml")), std::string(kRoot) + " />\n");
  EXPECT_EQ(file_text(cache_file("remapping.xml")),
            std::string(kRoot) + " kel:keepProxy=\"true\" />\n");
  EXPECT_EQ(file_text(cache_file("namespace-mapping-catalog.xml")),
            std::string(kRoot) + " kel:keepProxy=\"true\" />\n");
  EXPECT_EQ(pkg::pkg_xml_writer(true, true).take_document(),
            std::string(kRoot) + " kel:specification_catalog=\"true\" kel:keepProxy=\"true\" />\n");
}

TEST_F(CatalogsTest, EveryKindOfEntryIsWrittenInKeyOrder) {
  start_with(
      {package("foo-dtd-1.0.0", {{"catalogs", {{"http://d/x.dtd", "x.dtd"}, {"http://d/", "d/"}}},
                                 {"namespace_catalog",
                                  {{"-//X//DTD x//EN", {{"path", "x.dtd"}, {"public", true}}}}}}),
       package("foo-dtds-1.0.0", {{"catalogs", {{"http://c/x.xsd", "a.zip|zip/b|zip/x.xsd"}}}}),
       package("bar-2.0.0",
               {{"_name", "bar"},
                {"namespace_catalog",
                 {{"urn:x:ns#a", "n.zip|zip/n.xsd"},
                  {"urn:b", {{"path", "b.xsd"}, {"public", false}}}}},
                {"uri_mappings",
                 {{"http://old/", "http://new/"}, {"http://a/", "http://b.zip|zip/"}}}})});
  ASSERT_TRUE(cache().install({"foo-dtd", "foo-dtds", "bar"}));
  EXPECT_THAT(
      entries("catalog.xml"),
      ElementsAre(
          R"(<uri name="http://c/x.xsd" uri="zendro://pkg/foo-dtds-1.0.0/a.zip%7Czip/b%7Czip/x.xsd" />)",
          R"(<rewriteURI uriStartString="http://d/" rewritePrefix="zendro://pkg/foo-dtd-1.0.0/d/" />)",
          R"(<system name="http://d/x.dtd" uri="zendro://pkg/foo-dtd-1.0.0/x.dtd" />)",
          R"(<uri name="zendro://pkg/bar/namespace_catalog/urn%3Ab" uri="zendro://pkg/bar-2.0.0/b.xsd" />)",
          R"(<uri name="zendro://pkg/bar/namespace_catalog/urn%3Ax%3Ans%23a" uri="zendro://pkg/bar-2.0.0/n.zip%7Czip/n.xsd" />)"));
  EXPECT_THAT(
      entries("namespace-mapping-catalog.xml"),
      ElementsAre(
          R"(<public publicId="-//X//DTD x//EN" uri="zendro://pkg/foo-dtd-1.0.0/x.dtd" />)",
          R"(<uri name="urn:b" uri="zendro://pkg/bar/namespace_catalog/urn%3Ab" />)",
          R"(<uri name="urn:x:ns#a" uri="zendro://pkg/bar/namespace_catalog/urn%3Ax%3Ans%23a" />)"));
  EXPECT_THAT(
      entries("remapping.xml"),
      ElementsAre(R"(<rewriteURI uriStartString="http://a/" rewritePrefix="http://b.zip|zip/" />)",
                  R"(<rewriteURI uriStartString="http://old/" rewritePrefix="http://new/" />)"));
}

TEST_F(CatalogsTest, TheFirstInstalledSupplierOfAKeyWins) {
  constexpr int kKeys = 100;  // few would hide an order that is not stable
  json::object locations;
  for (int key = 0; key < kKeys; ++key) locations["http://k" + std::to_string(key)] = "k.xsd";
  const json::object same = {{"catalogs", locations}, {"namespace_catalog", {{"urn:k", "k.xsd"}}}};
  start_with({package("a-1.0.0", same), package("a-2.0.0", same), package("b-1.0.0", same)});
  const auto expect_supplier = [&](const std::string& identity) {
    const std::string target = "\" uri=\"zendro://pkg/" + identity + "/k.xsd\" />";
    std::vector<std::string> lines = entries("catalog.xml");
    lines.resize(kKeys);  // the namespaces come after
    EXPECT_THAT(lines, Each(EndsWith(target)));
  };
  ASSERT_TRUE(cache().install({"b"}));
  expect_supplier("b-1.0.0");
  ASSERT_TRUE(cache().install({"a-1"}));
  expect_supplier("a-1.0.0");
  ASSERT_TRUE(cache().install({"a-2"}));
  expect_supplier("a-2.0.0");
  EXPECT_THAT(
      entries("namespace-mapping-catalog.xml"),
      ElementsAre(R"(<uri name="urn:k" uri="zendro://pkg/a/namespace_catalog/urn%3Ak" />)"));
  ASSERT_TRUE(cache().uninstall({"a"}));
  expect_supplier("b-1.0.0");
}

TEST_F(CatalogsTest, HostileKeysStayInsideTheirAttributes) {
  start_with({package("a-1.0.0", {{"catalogs", {{"\"/><x a='&<\u0001\n", "k\u0001.xsd"}}}})});
  ASSERT_TRUE(cache().install({"a"}));
  pugi::xml_document document;
  ASSERT_TRUE(document.load_file(cache_file("catalog.xml").c_str()));
  const pugi::xml_node entry = document.child("catalog").first_child();
  EXPECT_STREQ(entry.attribute("name").value(), "\"/><x a='&<%01\n");
  EXPECT_STREQ(entry.attribute("uri").value(), "zendro://pkg/a-1.0.0/k%01.xsd");
  EXPECT_FALSE(entry.next_sibling());
}

TEST_F(CatalogsTest, TheFirstThatCannotBeWrittenEndsTheUpdate) {
  start_with({package("a-1.0.0", {{"catalogs", {{"http://k", "k.xsd"}}}})});
  std::filesystem::remove(cache_file("namespace-mapping-catalog.xml"));
  std::filesystem::create_directories(cache_file("namespace-mapping-catalog.xml"));
  const std::string before = file_text(cache_file("catalog.xml"));
  EXPECT_FALSE(cache().install({"a"}));
  EXPECT_EQ(file_text(cache_file("catalog.xml")), before);
  EXPECT_FALSE(cache().update_store_information(true));
  EXPECT_EQ(file_text(cache_file("catalog.xml")), before);
}

TEST(CatalogFiles, MessagesNameTheFolder) {
  const TempFolder folder;
  std::vector<std::wstring> messages;
  std::mutex lock;
  const auto write_in = [&](const std::string& cache_root) {
    json::object options = {{app::option::install_root, folder.path().string()},
                            {app::option::cache_root, cache_root}};
    app::set_type(options, "xsd");
    pkg::outlets_t outlets;
    outlets.messages = [&](const msg::Message& message) { messages.push_back(message.text()); };
    pkg::core_context context("xsd", options, outlets, lock);
    return pkg::write_catalogs(context, {});
  };
  const std::string in_the_way = (folder / "file").string();
  write_text(in_the_way, "x");
  EXPECT_FALSE(write_in(in_the_way));
  EXPECT_EQ(messages.back(),
            L"Can't create folder " + std::filesystem::path(in_the_way).wstring() + L".");
  std::filesystem::create_directories(folder / "namespace-mapping-catalog.xml");
  EXPECT_FALSE(write_in(folder.path().string()));
  EXPECT_EQ(messages.back(), L"Can't create file " + folder.path().wstring() + L".");
}

TEST(NamespaceEncoding, EncodesTheReservedCharactersOnly) {
  EXPECT_EQ(pkg::encode_namespace(" !#$%&'()*+,/:;=?@[]"),
            "%20%21%23%24%25%26%27%28%29%2A%2B%2C%2F%3A%3B%3D%3F%40%5B%5D");
  EXPECT_EQ(pkg::encode_namespace("aZ09-._~\"<>\\^`{|}\xC3\xA9"), "aZ09-._~\"<>\\^`{|}\xC3\xA9");
  EXPECT_EQ(pkg::package_url(pkg::parse_identity("a-1.2.3"), "x.zip|zip/y z"),
            "zendro://pkg/a-1.2.3/x.zip%7Czip/y z");
}

}  // namespace
}  // namespace zendro::tests
