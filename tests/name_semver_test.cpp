#include "pkg/name_semver.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

namespace zendro::pkg {
namespace {

constexpr std::uint16_t any = kAnyPart;

TEST(NameSemver, ParsesVersions) {
  EXPECT_EQ(parse_version("2.10.3"), (semver_t{2, 10, 3}));
  EXPECT_EQ(parse_version("2.10"), (semver_t{2, 10, any}));
  EXPECT_EQ(parse_version("2"), (semver_t{2, any, any}));
  EXPECT_EQ(parse_version("2.10.3-rc1"), (semver_t{2, 10, 3}));
  EXPECT_EQ(parse_version("2..3"), (semver_t{2, any, any}));
  EXPECT_EQ(parse_version("2."), (semver_t{2, any, any}));
  EXPECT_EQ(parse_version("2x10y3z4"), (semver_t{2, 10, 3}));
  EXPECT_EQ(parse_version("v2"), kNoVersion);
  EXPECT_EQ(parse_version(""), kNoVersion);
  // Numbers wrap at 16 bits, and one that wraps to the value for "not given" is not given.
  EXPECT_EQ(parse_version("70000.65536.65537"), (semver_t{4464, 0, 1}));
  EXPECT_EQ(parse_version("65535.2.3"), kNoVersion);
  EXPECT_EQ(parse_version("1.65535.3"), (semver_t{1, any, any}));
}

TEST(NameSemver, ParsesIdentitiesAtTheLastHyphen) {
  const auto expect = [](std::string_view text, const char* name, semver_t version) {
    EXPECT_EQ(parse_identity(text), (name_semver_t{name, version})) << text;
  };
  expect("eba-2.10", "eba", {2, 10, any});
  expect("my-pkg-1.0.2", "my-pkg", {1, 0, 2});
  expect("my-pkg", "my-pkg", kNoVersion);
  expect("pkg-", "pkg-", kNoVersion);
  expect("-1", "", {1, any, any});
  expect("a-65537.0.0", "a", {1, 0, 0});
  expect("a-65535", "a-65535", kNoVersion);
  expect("", "", kNoVersion);
}

TEST(NameSemver, WritesWhatParsesBack) {
  for (const char* text : {"a-1.2.3", "my-pkg-1.2", "b-7", "plain", "x-dtd", "caf\xC3\xA9-1.0.0"}) {
    EXPECT_EQ(to_string(parse_identity(text)), text);
  }
}

TEST(NameSemver, MatchesGivenPartsOnly) {
  const auto fits = [](const char* pattern, const char* candidate) {
    return matches(parse_identity(pattern).version, parse_identity(candidate).version);
  };
  EXPECT_TRUE(fits("a", "a-1.7.2"));
  EXPECT_TRUE(fits("a-1", "a-1.7.2"));
  EXPECT_TRUE(fits("a-1.7", "a-1.7.2"));
  EXPECT_FALSE(fits("a-1", "a-2.0.0"));
  EXPECT_FALSE(fits("a-1.7.3", "a-1.7.2"));
}

TEST(NameSemver, OrdersByNameThenNewestFirst) {
  // The order that every sorted list of identities has.
  const std::vector<const char*> sorted = {"A-1.0.0", "a",        "a-2",      "a-2.0.0",
                                           "a-1",     "a-1.10",   "a-1.10.0", "a-1.2.3",
                                           "a-1.2.0", "ab-9.0.0", "b-0.0.1",  "\xC3\xA9-1.0.0"};
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    for (std::size_t j = 0; j < sorted.size(); ++j) {
      EXPECT_EQ(parse_identity(sorted[i]) < parse_identity(sorted[j]), i < j)
          << sorted[i] << " " << sorted[j];
    }
  }
}

}  // namespace
}  // namespace zendro::pkg
