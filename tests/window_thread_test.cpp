// Handing work of other threads to the window thread.
#include "app/window_thread.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/timer.h>

#include "tests/window_fixture.h"

namespace zendro::tests {
namespace {

using testing::ElementsAre;

class WindowThreadTest : public testing::Test, public WindowLoop {
 protected:
  // Runs `work` on a thread until it ends, while the windows work.
  void on_a_thread(const std::function<void()>& work) {
    std::atomic<bool> ended = false;
    std::thread thread([&] {
      work();
      ended = true;
    });
    wait_until([&] { return ended.load(); }, "the thread has ended");
    thread.join();
  }
};

TEST_F(WindowThreadTest, ActionsRunInTheirOrderOnTheWindowThread) {
  std::vector<std::string> ran;
  std::vector<std::thread::id> where;
  const auto action = [&](const char* name) {
    return [&ran, &where, name] {
      ran.emplace_back(name);
      where.push_back(std::this_thread::get_id());
    };
  };
  std::vector<std::string> at_return;
  on_a_thread([&] {
    window_thread()->post(action("posted"));
    window_thread()->run(action("awaited"));
    at_return = ran;
    window_thread()->post(action("posted later"));
  });
  EXPECT_THAT(at_return, ElementsAre("posted", "awaited"));
  wait_until([&] { return ran.size() == 3; }, "the last action has run");
  EXPECT_THAT(ran, ElementsAre("posted", "awaited", "posted later"));
  EXPECT_THAT(where, testing::Each(std::this_thread::get_id()));

  // On the window thread itself nothing waits.
  window_thread()->post(action("waits"));
  window_thread()->run(action("at once"));
  EXPECT_EQ(ran.back(), "at once");
  settle();
  EXPECT_EQ(ran.back(), "waits");
}

TEST_F(WindowThreadTest, ResultsReachWhoeverWaits) {
  std::string caught;
  on_a_thread([&] {
    try {
      window_thread()->run([] { throw std::runtime_error("no such window"); });
    } catch (const std::runtime_error& error) {
      caught = error.what();
    }
  });
  EXPECT_EQ(caught, "no such window");

  // Many at once, each with its own result.
  constexpr int kThreads = 8;
  constexpr int kTimes = 50;
  std::atomic<int> ended = 0;
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int time = 0; time < kTimes; ++time) {
        int result = -1;
        window_thread()->run([&] { result = thread * kTimes + time; });
        if (result != thread * kTimes + time) ++wrong;
      }
      ++ended;
    });
  }
  wait_until([&] { return ended == kThreads; }, "all threads have their results");
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_F(WindowThreadTest, AnActionWithALoopOfItsOwnLetsOthersRun) {
  bool inner = false;
  bool outer = false;
  window_thread()->post([&] {
    window_thread()->post([&] { inner = true; });
    wait_until([&] { return inner; }, "the action posted meanwhile has run");
    outer = true;
  });
  wait_until([&] { return outer; }, "the action has run");
}

}  // namespace
}  // namespace zendro::tests
