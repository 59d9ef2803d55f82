// The dialog as its user meets it: questions, the popup menu, preselection, progress, and the place
// on the screen where it opens.
#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <wx/display.h>
#include <wx/stattext.h>

#include "framework/text/version.h"
#include "packages_ui/selection/window_state.h"
#include "tests/lock_at.h"
#include "tests/window_fixture.h"

namespace zendro::tests {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

const std::vector<TestPackage> kToolOfTwoLevels = {
    {"app-1.0.0", {{"m/app.xsd", "<app/>"}}, {"lib"}},
    {"lib-1.0.0", {{"m/lib.xsd", "<lib/>"}}},
    {"tool-1.0.0", {{"m/tool-0.xsd", "<tool/>"}}},
    {"tool-1.0.1", {{"m/tool-1.xsd", "<tool1/>"}}},
};

constexpr char kNothingPending[] =
    "Select the packages you want to install and then click \"Apply\".";

class DialogWindowTest : public WindowTest {
 protected:
  [[nodiscard]] std::string progress() const {
    return dynamic_cast<wxStaticText&>(*wxWindow::FindWindowByName("txtProgress", &dialog()))
        .GetLabelText()
        .utf8_string();
  }
  [[nodiscard]] std::string expanded() const {
    std::string names;
    for (const char* name : {"app", "lib", "tool"}) {
      if (grid().IsExpanded(find(name))) names += std::string(name) + " ";
    }
    return names;
  }
};

TEST_F(DialogWindowTest, AsksBeforeDependantsAndUsedPackagesGo) {
  publish(kToolOfTwoLevels);
  open_and_wait();
  go_to("app-1.0.0");
  press(WXK_SPACE);
  const std::string both =
      "The following packages will be installed:\n    app-1.0.0\n    lib-1.0.0";
  EXPECT_EQ(pane(), both);

  // What is depended on takes its dependants along, or stays.
  go_to("lib-1.0.0");
  press_in_question([this] { press(WXK_SPACE); }, {{WXK_ESCAPE, 0}});
  EXPECT_EQ(pane(), both);
  press_in_question([this] { press(WXK_SPACE); }, {{WXK_RETURN, 0}});
  EXPECT_EQ(pane(), kNothingPending);

  // What was only used may stay.
  go_to("app-1.0.0");
  press(WXK_SPACE);
  EXPECT_EQ(pane(), both);
  press_in_question([this] { press(WXK_SPACE); }, {{WXK_ESCAPE, 0}});
  EXPECT_EQ(pane(), "The following packages will be installed:\n    lib-1.0.0");
}

// Return takes the latest, Escape nothing, and each answer has its letter.
TEST_F(DialogWindowTest, AsksWhichOfSeveralVersions) {
  publish({{"many-1.0.0", {}}, {"many-2.0.0", {}}});
  open_and_wait();
  go_to("many");
  const std::string latest = "The following packages will be installed:\n    many-2.0.0";
  const std::string all =
      "The following packages will be installed:\n    many-1.0.0\n    many-2.0.0";
  const auto answer = [this](int key, int modifiers) {
    press_in_question([this] { press(WXK_SPACE); }, {{key, modifiers}});
    return pane();
  };
  answer(WXK_ESCAPE, 0);
  EXPECT_THAT(live_buttons(), ElementsAre("Close"));
  EXPECT_EQ(answer(WXK_RETURN, 0), latest);
  EXPECT_EQ(answer('A', wxMOD_ALT), all);
  press(WXK_SPACE);
  EXPECT_EQ(answer('L', wxMOD_ALT), latest);
}

TEST_F(DialogWindowTest, ADoubleClickChoosesThePatch) {
  publish(kToolOfTwoLevels);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  ASSERT_TRUE(silent_cache().install({"tool-1.0.0"}));
  open_and_wait();
  grid().Expand(find("tool"));
  settle();
  const wxRect cell =
      grid().GetItemRect(find("tool-1.0.0"), column(packages_ui::GridColumn::title));
  wxUIActionSimulator mouse;
  mouse.MouseMove(grid().ClientToScreen(cell.GetTopLeft()) + wxPoint(5, cell.height / 2));
  const auto datatip = [this] { return grid().GetMainWindow()->GetToolTipText().utf8_string(); };
  wait_until([&] { return !datatip().empty(); }, "the row has a datatip");
  EXPECT_THAT(datatip(), HasSubstr("Patch Selection")) << "how the upgrade is chosen";
  mouse.MouseDblClick();
  wait_for_pane("The following packages will be patched:\n    tool-1.0.0");
  EXPECT_THAT(live_buttons(), ElementsAre("Deselect All", "Reset Selection", "Apply", "Cancel"));
  EXPECT_THAT(datatip(), testing::Not(HasSubstr("Patch Selection"))) << "though the mouse rests";
}

TEST_F(DialogWindowTest, ThePopupMenuExpandsAndCollapses) {
  publish(kToolOfTwoLevels);
  open_and_wait({"lib"});
  const auto choose = [this](int command) {
    std::vector<std::pair<int, int>> keys(static_cast<std::size_t>(command), {WXK_DOWN, 0});
    keys.emplace_back(WXK_RETURN, 0);
    press_in_question([this] { press(WXK_F10, wxMOD_SHIFT); }, keys);
  };
  choose(1);
  EXPECT_EQ(expanded(), "app lib tool ");
  choose(4);
  EXPECT_EQ(expanded(), "lib ") << "unselected ones are collapsed";
  choose(2);
  EXPECT_EQ(expanded(), "");
  choose(3);
  EXPECT_EQ(expanded(), "lib ") << "selected ones are expanded";
}

TEST_F(DialogWindowTest, TicksWhatItIsStartedWith) {
  publish(kToolOfTwoLevels);
  open_and_wait({"app-1.0.0", "tool-1", "tool-7", "nothing-1.0.0"});
  EXPECT_THAT(pane(), HasSubstr("\nNo information found for XML Schema tool-7.\n"));
  EXPECT_THAT(pane(), HasSubstr("\nNo information found for XML Schema nothing-1.0.0.\n"));
  EXPECT_THAT(pane(), EndsWith("\nThe following packages will be installed:\n    app-1.0.0\n"
                               "    lib-1.0.0\n    tool-1.0.1\n"));
  EXPECT_THAT(rows(), ElementsAre("[x] app", "  [x] app-1.0.0", "[x] lib", "  [x] lib-1.0.0",
                                  "[-] tool", "  [ ] tool-1.0.0", "  [x] tool-1.0.1"));
}

// Else it would come below the summary of what the user does next.
TEST_F(DialogWindowTest, HasShownAllLinesWhenItIsIdle) {
  publish(kToolOfTwoLevels);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  publish_document("{}", std::string(64, '0'));  // a line just before the last one
  open();
  wait_until([this] { return dialog().idle(); }, "the dialog is idle");
  EXPECT_THAT(pane(), EndsWith(std::string("\n") + kNothingPending + "\n"));
}

TEST_F(DialogWindowTest, ShowsWhatIsKnownWhileItAsksTheStore) {
  const TestPackage untitled{"app-0.9.0", {}, {}, {}, {{"title", 7}}};
  publish({kToolOfTwoLevels.front(), untitled});
  ASSERT_TRUE(silent_cache().update_store_information(true));
  std::vector<TestPackage> news = kToolOfTwoLevels;
  news.push_back(untitled);
  publish(news, 2);
  server_.set_fault("/bootstrap", loopback::Fault::late(std::chrono::seconds(2)));
  open({"app"});
  wait_until([this] { return !rows().empty(); }, "the known packages are shown");
  EXPECT_FALSE(dialog().idle());
  EXPECT_THAT(rows(), ElementsAre("[ ] app", "  [ ] app-0.9.0", "  [ ] app-1.0.0"));
  EXPECT_THAT(live_buttons(), testing::IsEmpty());
  take_keyboard();
  press(WXK_HOME);
  press(WXK_SPACE);
  EXPECT_THAT(rows(), ElementsAre("[ ] app", "  [ ] app-0.9.0", "  [ ] app-1.0.0"));
  grid().Expand(find("app"));
  settle();
  EXPECT_THAT(pane(), testing::Not(HasSubstr("Cannot cast"))) << "said once, in the end";
  const wxWindow* animation = dialog().FindWindow(packages_ui::kIdProgress);
  EXPECT_TRUE(animation->IsShown());
  EXPECT_GT(animation->GetPosition().y, grid().GetRect().GetBottom()) << "at its place";
  wait_idle();
  EXPECT_THAT(rows(),
              ElementsAre("[-] app", "  [ ] app-0.9.0", "  [x] app-1.0.0", "[x] lib",
                          "  [x] lib-1.0.0", "[ ] tool", "  [ ] tool-1.0.0", "  [ ] tool-1.0.1"));
  const std::string problem = "app-0.9.0: Cannot cast value to JSON string!";
  wait_until([&] { return pane().find(problem) != std::string::npos; }, "what is wrong is said");
}

TEST_F(DialogWindowTest, TellsWhomItWaitsForAndClosesMeanwhile) {
  publish(kToolOfTwoLevels);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  const auto hold = [&](const std::string& note) {
    auto lock = lock_at(cache_file("operation.lock"), note);
    EXPECT_TRUE(lock) << cause_of(lock);
    return lock ? std::move(*lock) : nullptr;
  };
  auto held = hold(R"({"process": 4711, "user": "anna\u202E", "since": 1700000000})");
  open();
  wait_until([this] { return pane().find("can be closed.\n") != std::string::npos; }, "it waits");
  EXPECT_THAT(pane(), HasSubstr("\nWaits for process 4711 of anna<U+202E>, which has been at work "
                                "since 2023-11-1"));
  settle();
  EXPECT_THAT(live_buttons(), ElementsAre("Close"));
  held.reset();
  wait_idle();
  take_keyboard();
  EXPECT_EQ(rows().size(), 7u);

  // Apply as well, and what it would have done is not begun.
  go_to("lib-1.0.0");
  press(WXK_SPACE);
  held = hold("no note");
  press(WXK_RETURN);
  EXPECT_FALSE(dialog().idle());
  wait_until([this] { return pane().find("Waits for another program since 20") == 0; }, "it waits");
  press(WXK_ESCAPE);
  EXPECT_FALSE(dialog().IsShown());
  const auto began = std::chrono::steady_clock::now();
  close();
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(5));
  held.reset();
  EXPECT_FALSE(std::filesystem::exists(cache_file("pkgs-installed.json")));
}

TEST_F(DialogWindowTest, ShowsHowFarAnOperationIs) {
  publish(kToolOfTwoLevels);
  open_and_wait({"app"});
  const std::string version = "Version " + std::string(framework::program_version());
  EXPECT_EQ(progress(), version);
  server_.set_fault("/store/m/lib.xsd", loopback::Fault::late(std::chrono::seconds(1)));
  press(WXK_RETURN);
  wait_until([this] { return progress().find("1 of 2 files") == 0; }, "the first of two is done");
  EXPECT_FALSE(dialog().idle());
  wait_idle();
  EXPECT_EQ(progress(), version);
  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "lib-1.0.0"));
}

TEST_F(DialogWindowTest, OpensAsItWasClosed) {
  publish(kToolOfTwoLevels);
  open_and_wait();
  const wxSize first = dialog().GetSize();
  dialog().SetSize(40, 30, first.x + 60, first.y + 20);
  grid().GetColumn(1)->SetWidth(333);
  settle();
  const wxRect area(dialog().GetPosition(), dialog().GetSize());
  press(WXK_ESCAPE);
  EXPECT_FALSE(dialog().IsShown());
  close();
  open_and_wait();
  EXPECT_EQ(wxRect(dialog().GetPosition(), dialog().GetSize()), area);
  EXPECT_EQ(grid().GetColumn(1)->GetWidth(), 333);
  close();

  // On a screen that is gone, and larger than the one that is left.
  ASSERT_TRUE(packages_ui::write_window_state(state_file(), {9000, -500, {5000, 800}, false, {}}));
  open_and_wait();
  const wxRect screen = wxDisplay(&dialog()).GetClientArea();
  EXPECT_TRUE(screen.Contains(dialog().GetScreenRect())) << "the window is in sight";
  EXPECT_EQ(dialog().GetSize(), wxSize(screen.width, 800));
  close();

  write_text(state_file(), "{\"x\": ");
  open_and_wait();
  EXPECT_EQ(dialog().GetSize(), first) << "as without a file";
}

}  // namespace
}  // namespace zendro::tests
