// The table of package types, and that one row more is all that a third type takes.
#include "app/options/package_types.h"

#include <algorithm>
#include <array>
#include <set>

#include "app/options/options.h"
#include "framework/text/ascii.h"
#include "packages_ui/selection/ui_messages.h"
#include "pkg/active_types.h"
#include "tests/environment.h"
#include "tests/manager_fixture.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

namespace fs = std::filesystem;
using app::package_type;
using app::type_of_program;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(PackageTypes, HaveTheirWordsTextsAndFileNames) {
  EXPECT_EQ(package_type("xsd").label, L"XML Schema");
  EXPECT_EQ(package_type("xsd").plural_label, L"XML Schemas");
  EXPECT_EQ(package_type("xbrl").label, L"XBRL Taxonomy");
  EXPECT_EQ(package_type("xbrl").plural_label, L"XBRL Taxonomies");
  EXPECT_EQ(packages_ui::window_caption("xsd"), L"Zendro XML Schema Manager");
  EXPECT_EQ(packages_ui::window_caption("xbrl"), L"Zendro XBRL Taxonomy Manager");
  EXPECT_EQ(package_type("xsd").file_extension, ".zendro_xmlschemas");
  EXPECT_EQ(package_type("xbrl").file_extension, ".zendro_taxonomies");
  for (const char* unknown : {"XSD", "", "docs"}) {
    EXPECT_EQ(package_type(unknown).word, "");
    EXPECT_EQ(package_type(unknown).label, L"");
    EXPECT_EQ(package_type(unknown).file_extension, "");
  }
  std::set<std::string_view> names;
  for (const app::PackageType& type : app::package_types()) {
    // Names of folders are compared without regard to case.
    EXPECT_EQ(type.word, framework::ascii_lower(type.word));
    names.insert({type.word, type.cache_folder, type.file_extension});
  }
  EXPECT_EQ(names.size(), 3 * app::package_types().size()) << "two types share a name";
}

TEST(PackageTypes, OneIsChosenByThePathOfTheProgramAsGiven) {
  EXPECT_EQ(type_of_program("C:\\Tools\\PlintorSetup\\korvane.exe").word, "xbrl");
  EXPECT_EQ(type_of_program("/opt/PlintorSetup/any").word, "xbrl");
  EXPECT_EQ(type_of_program("Plintor").word, "xbrl");
  EXPECT_EQ(type_of_program("/opt/plintor").word, "xsd");
  EXPECT_EQ(type_of_program("plintor.exe").word, "xsd");
  EXPECT_EQ(type_of_program("").word, "xsd");
}

class ThirdPackageTypeTest : public ManagerTest {
 protected:
  ThirdPackageTypeTest() {
    set_variable("ZENDRO_COMMON_APPDATA", (folder_ / "shared").string().c_str());
    app::create_default_settings();
    std::copy(two_types_.begin(), two_types_.end(), rows_.begin());
    rows_.back() = {"docs",         L"Manual",     L"Manuals",      23,
                    ".zendro_docs", ".docs_cache", "docs/docs.exe", "DocsManager"};
  }
  ~ThirdPackageTypeTest() override {
    app::replace_package_types(two_types_);
    app::destroy_default_settings();
    unset_variable("ZENDRO_COMMON_APPDATA");
  }

  void add_row() { app::replace_package_types(rows_); }

  const std::span<const app::PackageType> two_types_ = app::package_types();
  std::array<app::PackageType, 3> rows_;
};

TEST_F(ThirdPackageTypeTest, IsServedLikeTheOthers) {
  add_row();
  EXPECT_EQ(type_of_program("/opt/DocsManager").word, "docs");
  EXPECT_EQ(type_of_program("/opt/Plintor").word, "xbrl");
  EXPECT_EQ(type_of_program("/opt/any").word, "xsd");
  json::object options;
  app::set_type(options, "docs");
  const std::string shared = with_slashes((folder_ / "shared").string());
  EXPECT_EQ(with_slashes(app::manager_executable("docs")), shared + "/docs/docs.exe");
  EXPECT_EQ(with_slashes(std::string(app::get_cache_root(&options).as_string())),
            shared + "/Zendro/pkgs/.docs_cache/");
  EXPECT_TRUE(std::string(app::get_store_bootstrap_url(&options).as_string())
                  .ends_with("/api/docs-manager/v1/bootstrap"));

  pkg::register_active_types(pkg::make_active_type_set({"docs"}));
  pkg::pkg_cache_t docs("docs", options_);
  publish({});
  ASSERT_TRUE(docs.update_store_information(true));
  TestPackage manual{"manual-1.0.0", {{"m.txt", "m"}}, {}, {}, {{"_type", "docs"}}};
  const std::string file = (folder_ / "x.zendro_docs").string();
  write_text(file, make_zip({{"ZENDROPKG-INF/pkg-meta.json",
                              json::serialize(json::object{{"manual-1.0.0", manual.meta()}})},
                             {"m.txt", "m"}}));
  EXPECT_TRUE(docs.read_package_file(file));
  EXPECT_TRUE(docs.install({"manual"}));
  EXPECT_TRUE(fs::exists(folder_ / "pkgs" / "docs" / "manual-1.0.0" / "m.txt"));
}

TEST_F(ThirdPackageTypeTest, IsGuardedLikeTheOthers) {
  set_option(app::option::install_root, (folder_ / "shared" / "Zendro" / "pkgs").string().c_str());
  const auto in = [](const char* type) {
    return TestPackage{"a-1.0.0", {{"m.zip", "x"}}, {}, {}, {{"_type", type}}};
  };
  int build = 1;
  for (const char* const type : {"docs", "DOCS", ".docs_cache", ".Docs_Cache"}) {
    publish({in(type), {"b-1.0.0.zendro_docs", {}}}, build++);
    ASSERT_TRUE(cache().update_store_information(true));
    // Without the row it is a folder like any other.
    EXPECT_TRUE(cache().install({"a"})) << type;
    EXPECT_TRUE(cache().uninstall({"a"})) << type;
    EXPECT_THAT(take_messages(), IsEmpty());

    add_row();
    EXPECT_FALSE(cache().install({"a"})) << type;
    EXPECT_THAT(take_messages().back(), testing::StartsWith("create_folder path=")) << type;
    app::replace_package_types(two_types_);
  }
  // What ends like a package file of the type is no version's name.
  add_row();
  const auto view = cache().load_available();
  ASSERT_TRUE(view);
  EXPECT_THAT(view->refused(), ElementsAre("b-1.0.0.zendro_docs"));
}

// The packages of a third manager count where several managers share a folder.
TEST_F(ThirdPackageTypeTest, ItsPackagesOwnTheirSharedFolders) {
  add_row();
  TestPackage shared{"a-1.0.0", {{"m.zip", "x"}}, {}, {}, {{"_type", "common"}}};
  write_text(folder_ / "pkgs" / ".docs_cache" / "pkgs-installed.json",
             json::serialize(json::object{{"a-1.0.0", shared.meta()}}));
  start_with({shared});
  EXPECT_FALSE(cache().install({"a"}));
  ASSERT_EQ(texts().size(), 1u);
  EXPECT_NE(texts()[0].find("(Manual)"), std::string::npos) << texts()[0];
}

}  // namespace
}  // namespace zendro::tests
