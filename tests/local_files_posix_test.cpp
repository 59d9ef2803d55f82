// Tools that know nothing of packages validate through the catalogs: those of libxml2.
#include <cstdlib>

#include "app/options/options.h"
#include "framework/system/files.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;

std::string schema(const std::string& name_space, const std::string& inside) {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' xmlns:t='" + name_space +
         "' targetNamespace='" + name_space + "' elementFormDefault='qualified'>" + inside +
         "</xs:schema>";
}

class ToolsTest : public ManagerTest {
 protected:
  // A user's schema imports one of a package by its location; that one includes a file beside it
  // and imports one of another package by a relative path.
  void SetUp() override {
    const std::string user = make_zip(
        {{"u/user.xsd", schema("urn:u",
                               "<xs:import namespace='urn:b' schemaLocation='../b/base.xsd'/>"
                               "<xs:include schemaLocation='more%20types.xsd'/>"
                               "<xs:element name='root' type='t:root'/>")},
         {"u/more types.xsd",
          schema("urn:u",
                 "<xs:import namespace='urn:b' schemaLocation='../b/base.xsd'/>"
                 "<xs:complexType name='root'><xs:sequence><xs:element name='n' "
                 "xmlns:b='urn:b' type='b:small'/></xs:sequence></xs:complexType>")}});
    const std::string base =
        make_zip({{"base.xsd", schema("urn:b",
                                      "<xs:simpleType name='small'><xs:restriction base='xs:int'>"
                                      "<xs:maxInclusive value='9'/></xs:restriction>"
                                      "</xs:simpleType>")}});
    const std::string dtd = "<!ELEMENT doc (a)*><!ELEMENT a EMPTY>";
    const fs::path root = folder_ / fs::path(u8"sp ace \u00FC%41");
    set_option(app::option::install_root, json::string((root / "pkgs/").string()));
    set_option(app::option::cache_root, json::string((root / "pkgs/.xsd_cache/").string()));
    start_with(
        {{"user-1.0.0",
          {{"x/user.zip", user}},
          {},
          {},
          {{"catalogs", {{"http://u.example/user.xsd", "x/user.zip|zip/u/user.xsd"}}}}},
         {"base-1.0.0",
          {{"base.zip", base}},
          {},
          {},
          {{"catalogs",
            {{"zendro://pkg/user-1.0.0/x/user.zip%7Czip/b/base.xsd", "base.zip|zip/base.xsd"}}}}},
         {"page-dtd-1.0.0",
          {{"d/page.dtd", dtd}},
          {},
          {},
          {{"catalogs", {{"http://p.example/v1/", "d/"}}},
           {"uri_mappings", {{"http://old.example/", "http://u.example/"}}},
           {"namespace_catalog",
            {{"-//P//DTD Page//EN", {{"path", "d/page.dtd"}, {"public", true}}}}}}}});
    write_text(folder_ / "good.xml", "<root xmlns='urn:u'><n>9</n></root>");
    write_text(folder_ / "bad.xml", "<root xmlns='urn:u'><n>10</n></root>");
    const std::string doctype = "<!DOCTYPE doc ";
    write_text(folder_ / "good-public.xml",
               doctype + "PUBLIC '-//P//DTD Page//EN' 'http://none.example/x.dtd'><doc><a/></doc>");
    write_text(folder_ / "bad-public.xml",
               doctype + "PUBLIC '-//P//DTD Page//EN' 'http://none.example/x.dtd'><doc>t</doc>");
    write_text(folder_ / "good-system.xml",
               doctype + "SYSTEM 'http://p.example/v1/page.dtd'><doc><a/></doc>");
    write_text(folder_ / "bad-system.xml", doctype + "SYSTEM 'http://p.example/v1/page.dtd'><a/>");
  }

  // What xmllint ends with.
  static constexpr int kInvalidBySchema = 3;
  static constexpr int kInvalidByDtd = 4;

  // The status of xmllint for a document; what it says is in the folder of the test.
  int validate(const fs::path& root, const std::string& how, const std::string& document) {
    const std::string command = "cd '" + folder_.path().string() + "' && XML_CATALOG_FILES='" +
                                framework::file_url(root / "pkgs/.xsd_cache/local/catalog.xml") +
                                "' xmllint --nonet --noout " + how + " " + document + " 2> said";
    const int status = std::system(command.c_str());
    return WEXITSTATUS(status);
  }
  // The documents that are judged right.
  std::string right(const fs::path& root) {
    std::string names;
    for (const char* location : {"http://u.example/user.xsd", "http://old.example/user.xsd",
                                 "zendro://pkg/user-1.0.0/x/user.zip%7Czip/u/user.xsd"}) {
      const std::string how = std::string("--schema ") + location;
      if (validate(root, how, "good.xml") != 0) names += "! " + how + file_text(folder_ / "said");
      if (validate(root, how, "bad.xml") != kInvalidBySchema) names += "? " + how;
    }
    for (const char* kind : {"public", "system"}) {
      if (validate(root, "--valid", std::string("good-") + kind + ".xml") != 0) {
        names += std::string("! ") + kind + file_text(folder_ / "said");
      }
      if (validate(root, "--valid", std::string("bad-") + kind + ".xml") != kInvalidByDtd) {
        names += std::string("? ") + kind;
      }
    }
    return names;
  }
};

TEST_F(ToolsTest, ValidateWithoutANetworkWhereverTheFilesAre) {
  const fs::path root = folder_ / fs::path(u8"sp ace \u00FC%41");
  ASSERT_TRUE(cache().install({"user", "base", "page-dtd"}));
  EXPECT_THAT(take_messages(), testing::IsEmpty());
  EXPECT_EQ(right(root), "");

  // In another place all is found but what leads out of a package, which the next run sets right.
  const fs::path moved = folder_ / "moved";
  fs::rename(root, moved);
  EXPECT_EQ(validate(moved, "--valid", "good-public.xml"), 0);
  EXPECT_EQ(validate(moved, "--valid", "bad-system.xml"), kInvalidByDtd);
  set_option(app::option::install_root, json::string((moved / "pkgs/").string()));
  set_option(app::option::cache_root, json::string((moved / "pkgs/.xsd_cache/").string()));
  ASSERT_TRUE(cache().update_store_information(true));
  EXPECT_EQ(right(moved), "");

  ASSERT_TRUE(cache().uninstall({"user", "base", "page-dtd"}));
  EXPECT_NE(validate(moved, "--valid", "good-public.xml"), 0);
  EXPECT_NE(validate(moved, "--schema http://u.example/user.xsd", "good.xml"), 0);
}

}  // namespace
}  // namespace zendro::tests
