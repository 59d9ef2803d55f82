// The small window that comes before the dialog.
#include "packages_ui/start_window.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/window_fixture.h"

namespace zendro::tests {
namespace {

using packages_ui::ShowStart;

constexpr std::chrono::milliseconds kPollPeriod(20);

class StartWindowTest : public testing::Test, public WindowLoop {
 protected:
  // Waits on the thread of the work until the window thread finds the condition true.
  void await(const std::function<bool()>& condition) {
    bool holds = false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!holds && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(kPollPeriod);
      window_thread()->run([&] { holds = condition(); });
    }
    EXPECT_TRUE(holds);
  }
  [[nodiscard]] std::string text_of(const char* name) const {
    return dynamic_cast<wxStaticText&>(*wxWindow::FindWindowByName(name, &window_))
        .GetLabelText()
        .utf8_string();
  }
  [[nodiscard]] int gauge() const {
    const auto* gauge = dynamic_cast<wxGauge*>(wxWindow::FindWindowByName("gauge", &window_));
    return gauge->GetValue();
  }

  packages_ui::StartWindow window_{L"Manager", window_thread()};
};

TEST_F(StartWindowTest, AppearsOnlyForWorkThatTakesItsTime) {
  bool shown = false;
  window_.Bind(wxEVT_SHOW, [&shown](wxShowEvent& event) { shown |= event.IsShown(); });
  window_.run([](const ShowStart& show) { show({L"quick", {}}); }, {});
  settle();
  EXPECT_FALSE(shown);

  const auto work = [this](const ShowStart& show) {
    await([this] { return window_.IsShown(); });
    show({L"Reading a & b...", {}});
    await([this] { return text_of("txtDoing") == "Waiting for another operation to end..."; });
    EXPECT_EQ(text_of("txtDetails"), "");
    show({L"Reading a & b...", pkg::progress_t{1, 4, 500, 1000}});
    await([this] { return text_of("txtDoing") == "Reading a & b..."; });
    EXPECT_EQ(text_of("txtDetails"), "1 of 4 files, 0.5 of 1.0 kB");
    EXPECT_EQ(gauge(), 375);
    // It stays while the work goes on.
    window_thread()->run([this] { window_.Close(); });
    EXPECT_TRUE(window_.IsShown());
    EXPECT_FALSE(wxWindow::FindWindowById(wxID_CANCEL, &window_)->IsEnabled());
  };
  window_.run(work, [] { return false; });
  EXPECT_TRUE(shown);
  EXPECT_FALSE(window_.IsShown());
}

TEST_F(StartWindowTest, ClosesWhileTheWorkWaits) {
  std::atomic<bool> stopped = false;
  const auto work = [&](const ShowStart& show) {
    show({L"Reading", {}, pkg::waiting_t{4711, "anna", 1'700'000'000}});
    await([this] { return text_of("txtDetails").starts_with("Waits for process 4711 of anna, "); });
    window_thread()->run([this] {
      wxCommandEvent click(wxEVT_BUTTON, wxID_CANCEL);
      wxWindow::FindWindowById(wxID_CANCEL, &window_)->ProcessWindowEvent(click);
    });
    await([&] { return stopped && !window_.IsShown(); });
  };
  window_.run(work, [&] { return stopped.exchange(true) || true; });
  EXPECT_TRUE(stopped);
}

TEST_F(StartWindowTest, WhatTheWorkThrowsReachesTheCaller) {
  EXPECT_THROW(window_.run([](const ShowStart&) { throw std::runtime_error("no memory"); }, {}),
               std::runtime_error);
}

}  // namespace
}  // namespace zendro::tests
