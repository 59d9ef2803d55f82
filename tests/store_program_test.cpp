// The program "zendro-store" as a process.
#include <gmock/gmock.h>

#include "tests/process.h"

namespace zendro::tests {
namespace {

using testing::HasSubstr;

TEST(StoreProgram, SaysWhatItDoesAndWhatIsWrongWithItsArguments) {
  const auto run = [](const std::vector<std::string>& words) {
    return run_process(built_program("zendro-store"), words);
  };
  for (const char* command : {"init", "add", "build", "check", "mirror", "package-file"}) {
    EXPECT_THAT(run({"--help"}).out, HasSubstr(command));
  }
  EXPECT_EQ(run({}).status, 2);
  EXPECT_EQ(run({"init", "there", "--type", "doc"}).status, 2);
  EXPECT_THAT(run({"completion", "bash"}).out, HasSubstr("complete -F _zendro_store zendro-store"));
}

}  // namespace
}  // namespace zendro::tests
