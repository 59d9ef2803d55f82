// What other programs of a Windows desktop rely on, seen as they see it: window classes, messages,
// numbers of controls, what assistive technology is told, and how a process gets its arguments.
#include <atomic>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <objbase.h>
#include <windows.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <oleacc.h>

#include "app/process_arguments.h"
#include "app/window_thread.h"
#include "framework/text/utf8.h"
#include "tests/window_fixture.h"

// Where the calls of this program to the system's function lead.
extern "C" decltype(&PostMessageW) __imp_PostMessageW;  // NOLINT(bugprone-reserved-identifier)

namespace zendro::tests {
namespace {

using testing::ElementsAre;

TEST(ProcessArguments, ComeFromTheVectorElseFromTheCommandLine) {
  const wchar_t* vector[] = {L"C:\\Plintor.exe", L"--pc", L"Gr\u00fc\u00dfe \xD83D\xDE00 \xD83D",
                             nullptr};
  EXPECT_THAT(app::process_arguments(3, vector, L"other"),
              ElementsAre("C:\\Plintor.exe", "--pc",
                          "Gr\xC3\xBC\xC3\x9F"
                          "e \xF0\x9F\x98\x80 \xEF\xBF\xBD"));
  const wchar_t line[] = L"\"C:\\a b\\korvane.exe\" --id \"x y\" \"q\\\"q\"  z";
  const auto split = ElementsAre("C:\\a b\\korvane.exe", "--id", "x y", "q\"q", "z");
  EXPECT_THAT(app::process_arguments(0, vector, line), split);
  EXPECT_THAT(app::process_arguments(3, nullptr, line), split);
  vector[0] = L"";
  EXPECT_THAT(app::process_arguments(3, vector, line), split);
}

class ActionWindowTest : public testing::Test, public WindowLoop {
 protected:
  static constexpr UINT kRunActions = 0x807B;
  static constexpr UINT kRunAwaitedActions = 0x807C;
  static constexpr UINT_PTR kTimer = 12345;

  void dispatch(UINT message) {
    MSG got;
    ASSERT_TRUE(PeekMessageW(&got, window_, message, message, PM_REMOVE));
    DispatchMessageW(&got);
  }
  [[nodiscard]] bool is_queued(UINT message) const {
    MSG got;
    return PeekMessageW(&got, window_, message, message, PM_NOREMOVE);
  }

  HWND window_ = FindWindowExW(HWND_MESSAGE, nullptr, L"ActionHandlerWindowClass",
                               L"ActionHandlerWindowClass");
};

TEST_F(ActionWindowTest, ActionsComeWithItsMessagesAndItsTimer) {
  ASSERT_NE(window_, nullptr);
  EXPECT_EQ(GetWindowThreadProcessId(window_, nullptr), GetCurrentThreadId());
  int ran = 0;
  window_thread()->post([&] { ++ran; });
  window_thread()->post([&] { ++ran; });
  EXPECT_TRUE(is_queued(kRunActions));
  dispatch(kRunActions);
  EXPECT_EQ(ran, 2);
  EXPECT_FALSE(is_queued(kRunActions)) << "one message for both";

  // One that a thread waits for has a message of its own, and takes along what was posted before.
  window_thread()->post([&] { ++ran; });
  std::atomic<bool> returned = false;
  std::thread thread([&] {
    window_thread()->run([&] { ran *= 10; });
    returned = true;
  });
  while (!is_queued(kRunAwaitedActions)) Sleep(1);
  EXPECT_FALSE(returned);
  dispatch(kRunAwaitedActions);
  thread.join();
  EXPECT_EQ(ran, 30);

  // Keys and painting have their turn before a long queue is through.
  settle();
  constexpr int kSlow = 10;
  ran = 0;
  for (int i = 0; i < kSlow; ++i) {
    window_thread()->post([&] {
      Sleep(10);
      ++ran;
    });
  }
  dispatch(kRunActions);
  EXPECT_GE(ran, 1);
  EXPECT_LT(ran, kSlow);
  MSG timer;
  wait_until([&] { return PeekMessageW(&timer, window_, WM_TIMER, WM_TIMER, PM_NOREMOVE) != 0; },
             "the timer runs");
  wait_until([&] { return ran == kSlow; }, "all have run");
  EXPECT_FALSE(KillTimer(window_, kTimer)) << "and no longer";
}

TEST_F(ActionWindowTest, OtherProgramsCannotMakeActionsRunInTheMiddleOfOthers) {
  int ran = 0;
  window_thread()->post([&] { ++ran; });
  std::atomic<bool> sent = false;
  std::thread thread([&] {
    SendMessageW(window_, kRunActions, 1, 1);
    SendMessageW(window_, kRunAwaitedActions, 1, 1);
    sent = true;
  });
  while (!sent) {
    MSG got;
    PeekMessageW(&got, window_, WM_NULL, WM_NULL, PM_NOREMOVE);  // takes sent messages only
    Sleep(1);
  }
  thread.join();
  EXPECT_EQ(ran, 0);
  settle();
  EXPECT_EQ(ran, 1);
}

// Refuses every message while it lives, as the system does to a thread that leaves ten thousand of
// them lying. Not all systems count.
class FullQueue {
 public:
  FullQueue() {
    replace([](HWND, UINT, WPARAM, LPARAM) -> BOOL {
      SetLastError(ERROR_NOT_ENOUGH_QUOTA);
      return FALSE;
    });
  }
  ~FullQueue() { replace(usual_); }
  FullQueue(const FullQueue&) = delete;
  FullQueue& operator=(const FullQueue&) = delete;

 private:
  using Post = decltype(&PostMessageW);

  static void replace(Post post) {
    DWORD protection = 0;
    ASSERT_TRUE(VirtualProtect(&__imp_PostMessageW, sizeof(Post), PAGE_READWRITE, &protection));
    __imp_PostMessageW = post;
    VirtualProtect(&__imp_PostMessageW, sizeof(Post), protection, &protection);
  }

  const Post usual_ = __imp_PostMessageW;
};

TEST_F(ActionWindowTest, AFullQueueOfMessagesLosesNoAction) {
  std::atomic<int> ran = 0;
  const auto post = [&] { window_thread()->post([&] { ++ran; }); };
  const auto post_from_a_thread = [&] { std::thread(post).join(); };
  int expected = 0;
  for (const std::function<void()>& way :
       {std::function<void()>(post), std::function<void()>(post_from_a_thread)}) {
    {
      const FullQueue full;
      way();
    }
    ++expected;
    wait_until([&] { return ran == expected; }, "the action posted to the full queue has run");
    way();
    ++expected;
    wait_until([&] { return ran == expected; }, "one that is posted later has run");
  }
}

TEST_F(ActionWindowTest, TheEndReleasesWhoeverWaits) {
  auto ending = app::make_window_thread();
  std::atomic<bool> waits = false;
  bool ran = false;
  std::thread thread([&, poster = ending.get()] {
    waits = true;
    poster->run([&] { ran = true; });
  });
  while (!waits) Sleep(1);
  Sleep(50);
  ending.reset();
  thread.join();
  EXPECT_FALSE(ran);
}

const std::vector<TestPackage> kLibOfTwoVersions = {
    {"app-1.0.0", {{"m/app.xsd", "<app/>"}}, {"lib"}},
    {"lib-1.0.0", {{"m/lib.xsd", "<lib/>"}}},
    {"lib-2.0.0", {{"m/lib2.xsd", "<lib2/>"}}},
};

class WindowsDesktopTest : public WindowTest {
 protected:
  [[nodiscard]] HWND handle() const { return dialog().GetHWND(); }
};

TEST_F(WindowsDesktopTest, ControlsAreFoundByTheirNumbers) {
  publish(kLibOfTwoVersions);
  open_and_wait();
  std::map<int, int> counts;
  EnumChildWindows(
      handle(),
      [](HWND window, LPARAM data) -> BOOL {
        ++(*reinterpret_cast<std::map<int, int>*>(data))[GetDlgCtrlID(window)];
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&counts));
  const auto text_of = [](HWND window) {
    wchar_t text[100] = L"";
    GetWindowTextW(window, text, 100);
    return std::wstring(text);
  };
  const std::map<int, const wchar_t*> kCaptions = {{1003, L"&Patch Selection"},
                                                   {1004, L"&Deselect All"},
                                                   {1005, L"&Reset Selection"},
                                                   {1, L"&Apply"},
                                                   {2, L"&Close"}};
  for (const auto& [id, caption] : kCaptions) {
    EXPECT_EQ(counts[id], 1) << id;
    EXPECT_EQ(text_of(GetDlgItem(handle(), id)), caption);
  }
  for (const int id : {1001, 1006}) {
    EXPECT_EQ(counts[id], 1) << id;
    EXPECT_NE(GetDlgItem(handle(), id), nullptr) << id;
  }
  EXPECT_EQ(GetDlgItem(handle(), 1001), grid().GetHWND());
  EXPECT_FALSE(IsWindowVisible(GetDlgItem(handle(), 1006))) << "nothing runs";

  // What is sent to them by number acts.
  SendMessageW(GetDlgItem(handle(), 2), BM_CLICK, 0, 0);
  settle();
  EXPECT_FALSE(dialog().IsShown());
}

TEST_F(WindowsDesktopTest, TheWindowHasIconsAndIgnoresForeignMessages) {
  publish(kLibOfTwoVersions);
  open();
  EXPECT_NE(SendMessageW(handle(), WM_GETICON, ICON_SMALL, 0), 0);
  EXPECT_NE(SendMessageW(handle(), WM_GETICON, ICON_BIG, 0), 0);
  const UINT posted = RegisterWindowMessageW(L"ZendroPackageManagerPostedAction");
  PostMessageW(handle(), posted, 5, 7);
  std::thread([&] { SendNotifyMessageW(handle(), posted, 5, 7); }).join();
  wait_idle();
  PostMessageW(handle(), posted, 5, 7);
  settle();
  EXPECT_EQ(rows().size(), 5u);
}

struct Told {
  std::wstring name;
  LONG role = 0;
  LONG state = 0;
  std::wstring level;
};

// What a screen reader is told of a row, counted from 1, or of the control itself as 0.
Told told_of(IAccessible& control, LONG child) {
  VARIANT which = {};
  which.vt = VT_I4;
  which.lVal = child;
  const auto text = [](BSTR given) {
    std::wstring result = given == nullptr ? L"" : given;
    SysFreeString(given);
    return result;
  };
  Told told;
  BSTR name = nullptr;
  control.get_accName(which, &name);
  told.name = text(name);
  BSTR level = nullptr;
  control.get_accValue(which, &level);
  told.level = text(level);
  VARIANT value = {};
  control.get_accRole(which, &value);
  told.role = value.lVal;
  value = {};
  control.get_accState(which, &value);
  told.state = value.lVal;
  return told;
}

TEST_F(WindowsDesktopTest, AssistiveTechnologyIsToldOfTheRows) {
  publish(kLibOfTwoVersions);
  open_and_wait({"app-1.0.0"});
  dynamic_cast<packages_ui::PackagesRelDisp&>(grid()).expand_all();
  IAccessible* control = nullptr;
  ASSERT_EQ(AccessibleObjectFromWindow(grid().GetHWND(), static_cast<DWORD>(OBJID_CLIENT),
                                       __uuidof(IAccessible), reinterpret_cast<void**>(&control)),
            S_OK);
  LONG count = 0;
  control->get_accChildCount(&count);
  const Told self = told_of(*control, 0);
  std::vector<Told> rows;
  for (LONG child = 1; child <= count; ++child) rows.push_back(told_of(*control, child));
  control->Release();

  EXPECT_EQ(self.name, L"Packages");
  EXPECT_EQ(self.role, ROLE_SYSTEM_OUTLINE);
  ASSERT_EQ(rows.size(), 5u);
  const wchar_t* const kNames[] = {L"app checked", L"app-1.0.0 checked", L"lib undetermined",
                                   L"lib-1.0.0 unchecked", L"lib-2.0.0 checked"};
  const LONG kBoxes[] = {STATE_SYSTEM_CHECKED, STATE_SYSTEM_CHECKED, STATE_SYSTEM_MIXED, 0,
                         STATE_SYSTEM_CHECKED};
  for (std::size_t row = 0; row < rows.size(); ++row) {
    EXPECT_EQ(rows[row].name, kNames[row]);
    EXPECT_EQ(rows[row].role, ROLE_SYSTEM_OUTLINEITEM);
    EXPECT_EQ(rows[row].state & (STATE_SYSTEM_CHECKED | STATE_SYSTEM_MIXED), kBoxes[row]);
    const bool is_package = row == 0 || row == 2;
    EXPECT_EQ(rows[row].level, is_package ? L"0" : L"1");
    EXPECT_EQ((rows[row].state & STATE_SYSTEM_EXPANDED) != 0, is_package);
  }
}

}  // namespace
}  // namespace zendro::tests
