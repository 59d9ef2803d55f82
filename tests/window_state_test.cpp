#include "packages_ui/selection/window_state.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/manager_fixture.h"

namespace zendro::packages_ui {
namespace {

using tests::file_text;
using tests::write_text;

TEST(WindowState, IsReadAsItWasWritten) {
  const tests::TempFolder folder;
  const auto file = folder.path() / "a" / "b" / "window-xsd.json";
  EXPECT_FALSE(read_window_state(file));

  const WindowState state{-1200, 30, {880, 760}, true, {270, 220, 210}};
  ASSERT_TRUE(write_window_state(file, state));
  EXPECT_EQ(read_window_state(file), state);
  const WindowState other{1, 2, {3, 4}, false, {}};
  ASSERT_TRUE(write_window_state(file, other));
  EXPECT_EQ(read_window_state(file), other);
}

TEST(WindowState, WhatIsDamagedIsNone) {
  const tests::TempFolder folder;
  const auto file = folder.path() / "window-xsd.json";
  ASSERT_TRUE(write_window_state(file, {1, 2, {3, 4}, false, {5}}));
  const std::string good = file_text(file);
  for (const std::string& damaged : std::vector<std::string>{
           "", "{}", "[1]", good.substr(0, good.size() / 2), R"({"x":1,"y":2,"width":3})",
           R"({"x":1,"y":2,"width":3,"height":"4"})", R"({"x":1,"y":2,"width":0,"height":4})",
           R"({"x":1,"y":2,"width":3,"height":4000000000})",
           R"({"x":-999999999,"y":2,"width":3,"height":4})",
           R"({"x":1,"y":2,"width":3,"height":4,"columns":[7,-7]})",
           R"({"x":1,"y":2,"width":3,"height":4,"columns":{}})",
           R"({"x":1.5,"y":2,"width":3,"height":4})"}) {
    write_text(file, damaged);
    EXPECT_FALSE(read_window_state(file)) << damaged;
  }
  // A later version of the program may know more.
  write_text(file, R"({"x":1,"y":2,"width":3,"height":4,"more":[]})");
  EXPECT_EQ(read_window_state(file), (WindowState{1, 2, {3, 4}, false, {}}));
}

TEST(WindowState, AFolderThatCannotBeMadeLosesNothingElse) {
  const tests::TempFolder folder;
  write_text(folder.path() / "config", "a file");
  EXPECT_FALSE(write_window_state(folder.path() / "config" / "window-xsd.json", {}));
  EXPECT_EQ(file_text(folder.path() / "config"), "a file");
}

TEST(WindowState, FitsTheScreens) {
  const std::vector<Area> one = {{0, 30, 800, 570}};
  EXPECT_EQ(fitted({10, 40, 700, 500}, one), (Area{10, 40, 700, 500}));
  EXPECT_EQ(fitted({500, 400, 700, 500}, one), (Area{100, 100, 700, 500}));
  EXPECT_EQ(fitted({-50, 0, 880, 760}, one), (Area{0, 30, 800, 570}));
  EXPECT_EQ(fitted({5000, 5000, 700, 500}, one), (Area{100, 100, 700, 500}));

  const std::vector<Area> two = {{0, 0, 1920, 1080}, {1920, 0, 1280, 1024}};
  EXPECT_EQ(fitted({1800, 100, 880, 760}, two), (Area{1920, 100, 880, 760})) << "most of it there";
  EXPECT_EQ(fitted({1400, 100, 880, 760}, two), (Area{1920 - 880, 100, 880, 760}));
  EXPECT_EQ(fitted({-3000, 100, 880, 760}, two), (Area{0, 100, 880, 760})) << "a screen is gone";
}

TEST(WindowState, APartGivesWayOnSmallScreens) {
  EXPECT_EQ(reduced_part({650, 480}, {666, 730}, {1280, 1024}, {300, 100}), (Extent{650, 480}));
  EXPECT_EQ(reduced_part({650, 480}, {666, 730}, {800, 600}, {300, 100}), (Extent{650, 350}));
  EXPECT_EQ(reduced_part({650, 480}, {666, 730}, {320, 240}, {350, 100}), (Extent{350, 100}));
  EXPECT_EQ(reduced_part({200, 80}, {666, 730}, {320, 240}, {350, 100}), (Extent{200, 80}))
      << "it was smaller already";
}

}  // namespace
}  // namespace zendro::packages_ui
