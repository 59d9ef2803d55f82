#include "app/command_line.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/options/options.h"
#include "app/options/options_file.h"
#include "tests/manager_fixture.h"
#include "tests/temp_folder.h"

namespace zendro::tests {
namespace {

using app::CommandLine;
using testing::ElementsAre;
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

TEST(OptionsFileTest, GivesTheOptionsOfTheRunOrSaysWhatIsWrong) {
  const TempFolder folder;
  const std::string path = (folder / "options.json").string();

  const auto missing = app::read_options_file(path);
  ASSERT_TRUE(missing);
  EXPECT_TRUE(missing->empty());

  write_text(path, R"({"pkg.cache_root": "", "pkg.log-remote-io": true, "pkg.new": [1],
                       "colour": "blue"})");
  const auto options = app::read_options_file(path);
  ASSERT_TRUE(options) << options.error();
  EXPECT_EQ(json::serialize(*options),
            R"({"pkg.cache_root":"","pkg.log-remote-io":true,"pkg.new":[1]})");
  write_text(path, "\xEF\xBB\xBF{\"pkg.cache_root\": \"x\"}");  // as some editors write it
  const auto marked = app::read_options_file(path);
  ASSERT_TRUE(marked) << marked.error();
  EXPECT_EQ(marked->size(), 1u);

  const std::pair<const char*, const char*> kBad[] = {
      {"[]", "Cannot cast value to JSON map!"},
      {R"({"pkg.cache_root": 5})", "pkg.cache_root: Cannot cast value to JSON string!"},
      {R"({"pkg.store_public_key": 5})", "pkg.store_public_key: Cannot cast value to JSON string!"},
      {R"({"pkg.log-remote-io": "yes"})", "pkg.log-remote-io: Cannot convert JSON value to bool!"},
      {R"({"pkg.telemetry": 0})", "pkg.telemetry: Cannot convert JSON value to bool!"},
      {R"({"pkg.member_size_limit": 0})", "pkg.member_size_limit: is less than 1"},
      {R"({"pkg.member_size_limit": "9"})",
       "pkg.member_size_limit: Cannot cast value to JSON integer!"}};
  for (const auto& [text, reason] : kBad) {
    write_text(path, text);
    const auto refused = app::read_options_file(path);
    ASSERT_FALSE(refused) << text;
    EXPECT_EQ(refused.error(), reason);
  }
  write_text(path, "{");
  const auto no_json = app::read_options_file(path);
  ASSERT_FALSE(no_json);
  EXPECT_NE(no_json.error(), "");
  const auto no_file = app::read_options_file(folder.path().string());
  ASSERT_FALSE(no_file) << "a folder is no file";
  EXPECT_NE(no_file.error(), "");
}

}  // namespace
}  // namespace zendro::tests
