// The work behind the window on a thread of its own, while the thread of the window goes on with
// the selection: what both reach for must be guarded. A queue stands for the window.
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "packages_ui/selection/background_work.h"
#include "packages_ui/selection/pending_changes.h"
#include "packages_ui/selection/selection.h"
#include "tests/manager_fixture.h"

namespace zendro::packages_ui {
namespace {

using testing::ElementsAre;

// Actions for the window thread, in their order.
class ActionQueue {
 public:
  void post(std::function<void()> action) {
    const std::lock_guard lock(mutex_);
    actions_.push_back(std::move(action));
    posted_.notify_one();
  }
  void run_next() {
    std::function<void()> action;
    {
      std::unique_lock lock(mutex_);
      posted_.wait(lock, [this] { return !actions_.empty(); });
      action = std::move(actions_.front());
      actions_.pop_front();
    }
    action();
  }

 private:
  std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<std::function<void()>> actions_;
};

class WorkerTest : public tests::ManagerTest,
                   public msg::LogHandler,
                   public SelectionQuestions,
                   public ParentUI {
 protected:
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view line) override { show(line); }
  VersionsAnswer latest_all_cancel() override { return VersionsAnswer::latest; }
  bool remove_dependants(std::span<const std::wstring>) override { return true; }
  bool remove_used_by(std::span<const std::wstring>) override { return true; }
  void selection_changed() override {}
  void report(const msg::Message&) override { ADD_FAILURE(); }

  void show(std::wstring_view line) {
    queue_.post([this, text = std::wstring(line)] { lines_.push_back(text); });
  }

  // Runs the operation on the worker; the selection is in use until the new lists arrive.
  template <typename Operation>
  void run(const Operation& operation) {
    bool done = false;
    worker_ = std::jthread([this, &done, operation] {
      const auto loaded = std::make_shared<LoadedPackages>(operation());
      queue_.post([this, &done, loaded] {
        EXPECT_TRUE(loaded->complete);
        selection_ = std::make_unique<Selection>(std::move(loaded->table), *this, *this);
        done = true;
      });
    });
    while (!done) {
      if (selection_) {
        for (RowId row = 0; row < selection_->rows().size(); ++row) selection_->toggle_version(row);
      }
      EXPECT_EQ(model_->type(), "xsd");
      queue_.run_next();
    }
  }

  ActionQueue queue_;
  std::vector<std::wstring> lines_;
  std::unique_ptr<Selection> selection_;
  std::shared_ptr<pkg::pkg_cache_t> model_ = std::make_shared<pkg::pkg_cache_t>("xsd", options_);
  std::jthread worker_;  // ends before what its work uses
};

TEST_F(WorkerTest, TheWindowGoesOnWhileItWorks) {
  publish(
      {{"a-1.0.0", {{"m/a.zip", "bytes of a"}}, {"b"}}, {"b-1.0.0", {{"m/b.zip", "bytes of b"}}}});
  BackgroundWork work(
      model_, std::shared_ptr<msg::LogHandler>(std::shared_ptr<void>(), this),
      [this](std::wstring_view text) { show(text); },
      [this](const pkg::progress_t&) { show(L"progress"); });
  run([&] { return work.update_and_load(); });
  for (int round = 0; round < 3; ++round) {
    selection_->preselect(std::vector<std::string>{"a"});
    const auto installs = pending_actions(*selection_);
    run([&] { return work.apply_and_load(installs); });
    EXPECT_THAT(installed(), ElementsAre("a-1.0.0", "b-1.0.0"));
    EXPECT_TRUE(pending_changes(*selection_).empty());
    selection_->deselect_all();
    const auto removals = pending_actions(*selection_);
    run([&] { return work.apply_and_load(removals); });
    EXPECT_THAT(installed(), testing::IsEmpty());
  }
  EXPECT_THAT(lines_, testing::Contains(L"progress"));
}

}  // namespace
}  // namespace zendro::packages_ui
