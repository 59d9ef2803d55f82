#include "app/command_line.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/options.h"
#include "app/options_file.h"
#include "app/package_file_start.h"
#include "app/package_type.h"
#include "msg/utf.h"
#include "tests/manager_fixture.h"
#include "tests/temp_folder.h"
#include "tests/zip_builder.h"

namespace zendro::tests {
namespace {

using app::CommandLine;
using app::PackageType;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

CommandLine parse(const std::vector<std::string>& arguments) {
  return app::parse_command_line(arguments);
}

TEST(CommandLineTest, OptionsStandAnywhereAndTakeWhatFollowsThem) {
  CommandLine line = parse({"a", "--pc", "product::edition", "b", "--id", "c", ""});
  EXPECT_TRUE(line.ids_mode);
  EXPECT_EQ(line.installer, "product::edition");
  EXPECT_THAT(line.arguments, ElementsAre("a", "b", "c", ""));

  line = parse({"--pc", "one", "--pc", "two"});
  EXPECT_EQ(line.installer, "two");
  EXPECT_THAT(line.arguments, IsEmpty());
}

TEST(CommandLineTest, AnyOptionCancelsAnInstallerThatIsStillExpected) {
  for (const char* option : {"--id", "-x", "--PC", "--pc=1", "-"}) {
    const CommandLine line = parse({"--pc", option, "a", "b"});
    EXPECT_EQ(line.installer, "") << option;
    EXPECT_EQ(line.ids_mode, option == std::string("--id")) << option;
    EXPECT_THAT(line.arguments, ElementsAre("a", "b")) << option;
  }
  EXPECT_EQ(parse({"--pc"}).installer, "");
  EXPECT_THAT(parse({"-x", "file.zendro_xmlschemas"}).arguments,
              ElementsAre("file.zendro_xmlschemas"));
}

TEST(CommandLineTest, ThePackageTypeStandsInTheFirstElementAsGiven) {
  EXPECT_EQ(app::type_of_program("/opt/PlintorSetup/any"), PackageType::xbrl);
  EXPECT_EQ(app::type_of_program("Plintor"), PackageType::xbrl);
  EXPECT_EQ(app::type_of_program("/opt/plintor"), PackageType::xsd);
  EXPECT_EQ(app::type_of_program(""), PackageType::xsd);
}

TEST(OptionsFileTest, GivesTheOptionsOfTheRunOrSaysWhatIsWrong) {
  const TempFolder folder;
  const std::string path = (folder / "options.json").string();
  std::string error;

  const auto missing = app::read_options_file(path, error);
  ASSERT_TRUE(missing);
  EXPECT_TRUE(missing->empty());

  write_text(path, R"({"pkg.cache_root": "", "pkg.log-remote-io": true, "pkg.new": [1],
                       "colour": "blue"})");
  const auto options = app::read_options_file(path, error);
  ASSERT_TRUE(options) << error;
  EXPECT_EQ(json::serialize(*options),
            R"({"pkg.cache_root":"","pkg.log-remote-io":true,"pkg.new":[1]})");
  write_text(path, "\xEF\xBB\xBF{\"pkg.cache_root\": \"x\"}");  // as some editors write it
  const auto marked = app::read_options_file(path, error);
  ASSERT_TRUE(marked) << error;
  EXPECT_EQ(marked->size(), 1u);

  const std::pair<const char*, const char*> kBad[] = {
      {"[]", "Cannot cast value to JSON map!"},
      {R"({"pkg.cache_root": 5})", "pkg.cache_root: Cannot cast value to JSON string!"},
      {R"({"pkg.log-remote-io": "yes"})", "pkg.log-remote-io: Cannot convert JSON value to bool!"}};
  for (const auto& [text, reason] : kBad) {
    write_text(path, text);
    EXPECT_FALSE(app::read_options_file(path, error));
    EXPECT_EQ(error, reason);
  }
  write_text(path, "{");
  error.clear();
  EXPECT_FALSE(app::read_options_file(path, error));
  EXPECT_NE(error, "");
  error.clear();
  EXPECT_FALSE(app::read_options_file(folder.path().string(), error)) << "a folder is no file";
  EXPECT_NE(error, "");
}

class PackageFileStartTest : public ManagerTest {
 protected:
  std::string write_archive(const std::string& name, const std::string& meta) {
    const auto path = folder_ / name;
    write_text(path, make_zip({{"ZENDROPKG-INF/pkg-meta.json", meta}}));
    return path.string();
  }
};

TEST_F(PackageFileStartTest, OpensTheDialogOrExplainsInABox) {
  app::PackageFileStart start = app::start_with_package_file(cache(), "");
  EXPECT_TRUE(start.open_dialog);
  EXPECT_THAT(start.preselection, IsEmpty());

  const std::string file = write_archive(
      "mine.zendro_xmlschemas",
      R"({"provides": ["a-1.0.0", "b"], "a-1.0.0": {"_type": "xsd", "_pkg_installdir": "a"}})");
  start = app::start_with_package_file(cache(), file);
  EXPECT_FALSE(start.open_dialog) << "there is no cache yet";
  EXPECT_EQ(msg::to_utf8(start.box_text), "Failed to load packages from " + file +
                                              ":\nXML Schema Manager cache is not initialized.");

  start_with({});
  start = app::start_with_package_file(cache(), file);
  EXPECT_TRUE(start.open_dialog);
  EXPECT_THAT(start.preselection, ElementsAre("a-1.0.0", "b"));
  EXPECT_EQ(start.box_text, L"");

  const std::string broken = write_archive("broken.zendro_xmlschemas", "[]");
  start = app::start_with_package_file(cache(), broken);
  EXPECT_FALSE(start.open_dialog);
  EXPECT_EQ(msg::to_utf8(start.box_text), "Failed to load packages from " + broken +
                                              ":\nCan't read XML Schema information from " +
                                              broken + ".\nCannot cast value to JSON map!");
  start = app::start_with_package_file(cache(), "/nowhere.zendro_xmlschemas");
  EXPECT_THAT(msg::to_utf8(start.box_text), HasSubstr("doesn not exist."));
}

}  // namespace
}  // namespace zendro::tests
