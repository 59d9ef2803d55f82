#include "framework/system/work_ahead.h"

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace zendro::framework {
namespace {

TEST(WorkAhead, ResultsAndFailuresComeInOrderWhicheverIsDoneFirst) {
  WorkAhead<int> work(3);
  std::vector<std::string> seen;
  const auto take = [&] {
    try {
      seen.push_back(std::to_string(work.take()));
    } catch (const std::runtime_error& failure) {
      seen.emplace_back(failure.what());
    }
  };
  std::vector<std::string> expected;
  for (int i = 0; i < 50; ++i) {
    if (!work.has_room()) take();
    work.add([i] {
      std::this_thread::sleep_for(std::chrono::milliseconds(i % 5 == 0 ? 5 : 0));
      if (i % 7 == 3) throw std::runtime_error("failed " + std::to_string(i));
      return i;
    });
    expected.push_back(i % 7 == 3 ? "failed " + std::to_string(i) : std::to_string(i));
  }
  while (!work.is_empty()) take();
  EXPECT_EQ(seen, expected);
}

TEST(WorkAhead, WhatNobodyTakesIsNotWaitedFor) {
  std::atomic<int> begun = 0;
  {
    WorkAhead<int> work(10'000);
    for (int i = 0; i < 10'000; ++i) {
      work.add([&begun] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return ++begun;
      });
    }
  }
  EXPECT_LT(begun, 10'000);
}

}  // namespace
}  // namespace zendro::framework
