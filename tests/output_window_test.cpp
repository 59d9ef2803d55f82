// What other threads put into the window: log lines and progress, in any number.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/app.h>
#include <wx/clipbrd.h>
#include <wx/frame.h>
#include <wx/sizer.h>

#include "framework/text/utf8.h"
#include "packages_ui/output_pane.h"
#include "packages_ui/progress_display.h"
#include "tests/stopwatch.h"
#include "tests/window_fixture.h"

namespace zendro::tests {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kStall(500);

class OutputWindowTest : public testing::Test, public WindowLoop {
 protected:
  OutputWindowTest() {
    auto* sizer = new wxBoxSizer(wxVERTICAL);
    sizer->Add(output_, 1, wxEXPAND);
    sizer->Add(text_, 0, wxEXPAND);
    sizer->Add(animation_);
    frame_->SetSizer(sizer);
    frame_->Show();
    settle();
  }
  ~OutputWindowTest() override {
    frame_->Destroy();
    settle();
  }

  // Runs `work` on a thread until it ends and `shown` holds. The longest time for which the window
  // did not come to its queue, in milliseconds.
  Milliseconds work_and_watch(const std::function<void()>& work,
                              const std::function<bool()>& shown) {
    std::atomic<bool> ended = false;
    std::thread thread([&] {
      work();
      ended = true;
    });
    double longest = 0;
    Stopwatch since_last;
    wait_until(
        [&] {
          longest = std::max(longest, since_last.seconds());
          since_last.restart();
          return ended && shown();
        },
        "all is shown");
    thread.join();
    return Milliseconds(static_cast<long>(longest * 1000));
  }

  [[nodiscard]] packages_ui::PostAction counted_post() {
    return [this](std::function<void()> action) {
      ++posted_;
      window_thread()->post(std::move(action));
    };
  }

  [[nodiscard]] int pixels_below() const { return tests::pixels_below(*output_); }

  std::atomic<int> posted_ = 0;
  wxFrame* frame_ = new wxFrame(nullptr, wxID_ANY, "Output", wxPoint(0, 0), wxSize(500, 400));
  wxTextCtrl* output_ = new wxTextCtrl(frame_, wxID_ANY, {}, wxDefaultPosition, wxDefaultSize,
                                       wxTE_MULTILINE | wxTE_READONLY | wxTE_DONTWRAP);
  wxStaticText* text_ = new wxStaticText(frame_, wxID_ANY, {});
  wxAnimationCtrl* animation_ = new wxAnimationCtrl(frame_, wxID_ANY);
};

TEST_F(OutputWindowTest, TenThousandLinesInASecond) {
  packages_ui::OutputPane pane(output_, counted_post());
  constexpr int kLines = 10'000;
  std::string expected;
  for (int line = 0; line < kLines; ++line) {
    expected += "2024-05-07T14:03:59 PKG Download file number " + std::to_string(line) + ".\n";
  }
  const auto began = Clock::now();
  const Milliseconds stall = work_and_watch(
      [&] {
        std::string_view rest = expected;
        for (int line = 0; line < kLines; ++line) {
          const std::size_t end = rest.find('\n');
          pane.append_line(framework::to_wide(rest.substr(0, end)));
          rest.remove_prefix(end + 1);
          // As many lines at a time as make a second of all.
          if (line % 100 == 99) std::this_thread::sleep_for(Milliseconds(8));
        }
      },
      [&] { return length_of(*output_) >= expected.size(); });
  RecordProperty("milliseconds", static_cast<int>((Clock::now() - began) / Milliseconds(1)));
  RecordProperty("stall", static_cast<int>(stall.count()));
  EXPECT_LT(stall, kStall);
  EXPECT_EQ(output_->GetValue().utf8_string(), expected);
  EXPECT_LT(posted_, kLines / 10) << "batches";
  settle();
  EXPECT_LE(pixels_below(), output_->GetCharHeight()) << "the newest line is in sight";
}

TEST_F(OutputWindowTest, AFloodWithoutAPauseLeavesTheWindowAlive) {
  packages_ui::OutputPane pane(output_, counted_post());
  constexpr int kLines = 200'000;
  constexpr std::size_t kLength = 10 * 2 + 90 * 3 + 900 * 4 + 9'000 * 5 + 90'000 * 6 + 100'000 * 7;
  const Milliseconds stall = work_and_watch(
      [&] {
        for (int line = 0; line < kLines; ++line) pane.append_line(std::to_wstring(line));
      },
      [&] { return length_of(*output_) >= kLength; });
  RecordProperty("stall", static_cast<int>(stall.count()));
  EXPECT_LT(stall, 4 * kStall);
  EXPECT_EQ(output_->GetNumberOfLines(), kLines + 1);
}

TEST_F(OutputWindowTest, KeepsThePlaceOfAUserWhoScrolledUp) {
  packages_ui::OutputPane pane(output_, counted_post());
  const auto append = [&](int count) {
    for (int line = 0; line < count; ++line) {
      pane.append_line(std::to_wstring(line) + L" is a line of the log");
      if (line % 50 == 0) settle();
    }
    settle();
  };
  append(200);
  EXPECT_LE(pixels_below(), output_->GetCharHeight());

  take_keyboard(*frame_, *output_);
  const auto go_to_top = [this] {
    press(WXK_HOME, wxMOD_CONTROL);
    wait_until([this] { return output_->GetScrollPos(wxVERTICAL) == 0; }, "the top is shown");
  };
  go_to_top();
  press(WXK_END, wxMOD_SHIFT);
  const wxString selected = output_->GetStringSelection();
  EXPECT_EQ(selected, "0 is a line of the log");
  append(200);
  EXPECT_EQ(output_->GetScrollPos(wxVERTICAL), 0) << "the user reads here";
  EXPECT_EQ(output_->GetStringSelection(), selected);

  press(WXK_END, wxMOD_CONTROL);
  wait_until([this] { return pixels_below() == 0; }, "the end is shown");
  append(200);
  EXPECT_LE(pixels_below(), output_->GetCharHeight()) << "following again";

  go_to_top();
  append(1);
  pane.replace(L"new");
  append(200);
  EXPECT_LE(pixels_below(), output_->GetCharHeight()) << "a new text is followed again";
}

TEST_F(OutputWindowTest, ALongTextIsReadFromItsBeginning) {
  packages_ui::OutputPane pane(output_, counted_post());
  std::wstring summary = L"summary";
  for (int line = 1; line < 20'000; ++line) summary += L"\n    package-" + std::to_wstring(line);
  pane.replace(summary);
  pane.append_line(L"the log");
  EXPECT_EQ(output_->GetLineText(999).utf8_string(), "    package-999") << "at once";
  EXPECT_LT(length_of(*output_), summary.size()) << "the rest when there is time";
  const std::wstring all = summary + L"\nthe log\n";
  wait_until([&] { return length_of(*output_) >= all.size(); }, "all is shown");
  EXPECT_EQ(output_->GetValue().ToStdWstring(), all);

  pane.replace(summary);
  pane.append_line(L"of before");
  pane.replace(L"another");
  settle();
  EXPECT_EQ(output_->GetValue().utf8_string(), "another\nof before\n");

  pane.replace(summary);
  wait_until([&] { return length_of(*output_) >= summary.size(); }, "all is shown");
  settle();
  EXPECT_EQ(output_->GetScrollPos(wxVERTICAL), 0) << "a text is read from its beginning";
}

TEST_F(OutputWindowTest, TheTextCanBeCopied) {
  packages_ui::OutputPane pane(output_, counted_post());
  pane.replace(L"summary\r\n    a-1.0.0");
  pane.append_line(L"Gr\u00fc\u00dfe");
  settle();
  take_keyboard(*frame_, *output_);
  press('A', wxMOD_CONTROL);
  press('C', wxMOD_CONTROL);
  wxTextDataObject text;
  ASSERT_TRUE(wxTheClipboard->Open());
  EXPECT_TRUE(wxTheClipboard->GetData(text));
  wxTheClipboard->Close();
  EXPECT_EQ(text.GetText().utf8_string(), "summary\n    a-1.0.0\nGr\u00fc\u00dfe\n");
}

TEST_F(OutputWindowTest, AMillionReportsOfProgress) {
  packages_ui::ProgressDisplay display(animation_, text_, counted_post());
  EXPECT_FALSE(animation_->IsShown());
  const wxString at_rest = text_->GetLabelText();
  display.start();
  EXPECT_TRUE(animation_->IsShown());
  constexpr std::uint64_t kReports = 1'000'000;
  const Milliseconds stall = work_and_watch(
      [&] {
        for (std::uint64_t bytes = 1; bytes <= kReports; ++bytes) {
          display.report({3, 12, bytes, 2 * kReports});
        }
      },
      [&] { return text_->GetLabelText() == "3 of 12 files, 1.0 of 2.0 MB"; });
  EXPECT_LT(stall, kStall);
  EXPECT_LT(posted_, 1'000);

  // What comes late belongs to an operation that has ended.
  display.report({12, 12, 0, {}});
  display.stop();
  settle();
  EXPECT_EQ(text_->GetLabelText(), at_rest);
  EXPECT_FALSE(animation_->IsShown());
}

}  // namespace
}  // namespace zendro::tests
