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
  EXPECT_THAT(run({"--help"}).out, HasSubstr("package-file"));
  EXPECT_EQ(run({}).status, 2);
  EXPECT_EQ(run({"init", "there", "--type", "doc"}).status, 2);
  // A list of references ends where it does.
  const ProcessOutcome added = run({"add", "--name", "a", "--version", "1.0.0", "--references",
                                    "b,c-1", "there is no such store", "source"});
  EXPECT_EQ(added.status, 1);
  EXPECT_THAT(added.err, HasSubstr("there is no such store"));
  EXPECT_THAT(run({"completion", "bash"}).out, HasSubstr("complete -F _zendro_store zendro-store"));
}

}  // namespace
}  // namespace zendro::tests
