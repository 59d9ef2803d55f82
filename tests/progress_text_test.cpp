#include "packages_ui/selection/progress_text.h"

#include <cstdint>
#include <limits>
#include <optional>

#include <gtest/gtest.h>

#include "framework/text/utf8.h"

namespace zendro::packages_ui {
namespace {

std::string text(std::uint64_t members_done, std::uint64_t members, std::uint64_t bytes_done,
                 std::optional<std::uint64_t> bytes) {
  return framework::to_utf8(progress_text({members_done, members, bytes_done, bytes}));
}

TEST(ProgressText, LeavesOutWhatIsNotKnown) {
  EXPECT_EQ(text(3, 12, 4'200'000, 8'900'000), "3 of 12 files, 4.2 of 8.9 MB");
  EXPECT_EQ(text(3, 12, 4'200'000, {}), "3 of 12 files, 4.2 MB");
  EXPECT_EQ(text(0, 12, 0, 8'900'000), "0 of 12 files");
  EXPECT_EQ(text(1, 1, 0, {}), "1 of 1 file");
  EXPECT_EQ(text(0, 0, 700, 900), "700 of 900 bytes");
  EXPECT_EQ(text(0, 0, 0, {}), "");
}

TEST(ProgressText, TheSizeDecidesTheUnit) {
  EXPECT_EQ(text(0, 0, 20'000, 8'900'000), "0.0 of 8.9 MB");
  EXPECT_EQ(text(0, 0, 999, {}), "999 bytes");
  EXPECT_EQ(text(0, 0, 1'000, {}), "1.0 kB");
  EXPECT_EQ(text(0, 0, 999'949, {}), "999.9 kB");
  EXPECT_EQ(text(0, 0, 999'950, {}), "1.0 MB") << "never 1000.0 kB";
  EXPECT_EQ(text(0, 0, 1, 2'500'000'000), "0.0 of 2.5 GB");
  EXPECT_EQ(text(0, 0, std::numeric_limits<std::uint64_t>::max(), {}), "18446744073.7 GB");
  EXPECT_EQ(text(0, 0, 9'000'000, 8'000'000), "9.0 MB") << "a size that was told wrong";
}

}  // namespace
}  // namespace zendro::packages_ui
