// The real window: opened on a display, driven by keys and mouse, on a store on loopback.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/window_fixture.h"

namespace zendro::tests {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::vector<TestPackage> kAppWithReference = {
    {"app-1.0.0", {{"xsd/app-1.0.0/app.xsd", "<app/>"}}, {"lib"}},
    {"lib-1.0.0", {{"xsd/lib-1.0.0/lib.xsd", "<lib/>"}}},
    {"lib-2.0.0", {{"xsd/lib-2.0.0/lib.xsd", "<lib2/>"}}},
    {"tool-1.0.0", {{"xsd/tool-1.0.0/tool.xsd", "<tool/>"}}},
    {"tool-1.0.1", {{"xsd/tool-1.0.1/tool.xsd", "<tool1/>"}}},
};

TEST_F(WindowTest, InstallsAndRemovesWithTheKeyboardAlone) {
  publish(kAppWithReference);
  open();
  EXPECT_FALSE(dialog().idle());
  EXPECT_THAT(live_buttons(), IsEmpty());
  open_and_wait();
  EXPECT_EQ(dialog().GetTitle(), "Zendro XML Schema Manager");
  EXPECT_THAT(pane(), StartsWith("Updating package information...\n"));
  EXPECT_THAT(pane(),
              EndsWith("\nSelect the packages you want to install and then click \"Apply\".\n"));
  EXPECT_THAT(rows(),
              ElementsAre("[ ] app", "  [ ] app-1.0.0", "[ ] lib", "  [ ] lib-1.0.0",
                          "  [ ] lib-2.0.0", "[ ] tool", "  [ ] tool-1.0.0", "  [ ] tool-1.0.1"));
  EXPECT_THAT(live_buttons(), ElementsAre("Close"));

  // A tick takes the reference along and is summed up.
  press(WXK_HOME);
  press(WXK_SPACE);
  EXPECT_THAT(rows(),
              ElementsAre("[x] app", "  [x] app-1.0.0", "[-] lib", "  [ ] lib-1.0.0",
                          "  [x] lib-2.0.0", "[ ] tool", "  [ ] tool-1.0.0", "  [ ] tool-1.0.1"));
  EXPECT_EQ(pane(), "The following packages will be installed:\n    app-1.0.0\n    lib-2.0.0");
  EXPECT_THAT(live_buttons(), ElementsAre("Deselect All", "Reset Selection", "Apply", "Cancel"));
  EXPECT_TRUE(grid().IsExpanded(find("app")));

  // While the operation runs the box stays open.
  server_.set_fault("/bootstrap", loopback::Fault::late(std::chrono::seconds(2)));
  press(WXK_RETURN);
  EXPECT_FALSE(dialog().idle());
  EXPECT_THAT(live_buttons(), IsEmpty());
  press(WXK_SPACE);
  EXPECT_FALSE(dialog().Close());
  EXPECT_TRUE(dialog().IsShown());
  wait_idle();
  server_.clear_faults();

  EXPECT_THAT(installed(), ElementsAre("app-1.0.0", "lib-2.0.0"));
  EXPECT_EQ(file_text(cache_file("pkgs-installed.json")).empty(), false);
  EXPECT_TRUE(std::filesystem::exists(package_folder("app-1.0.0")));
  EXPECT_THAT(pane(), HasSubstr(" PKG Install app-1.0.0, lib-2.0.0.\n"));
  EXPECT_THAT(state_of("app-1.0.0"), StartsWith("installed"));
  EXPECT_THAT(live_buttons(), ElementsAre("Deselect All", "Close"));
  EXPECT_TRUE(grid().IsExpanded(find("app"))) << "the grid keeps its place";

  // Removing offers what only the removed package used.
  grid().SetFocus();
  go_to("app-1.0.0");
  press_in_question([this] { press(WXK_SPACE); }, {{WXK_RETURN, 0}});
  EXPECT_EQ(pane(), "The following packages will be uninstalled:\n    app-1.0.0\n    lib-2.0.0");
  press('A', wxMOD_ALT);
  wait_for_operation(" PKG Uninstall app-1.0.0, lib-2.0.0.\n");
  EXPECT_THAT(installed(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(package_folder("app-1.0.0")));

  press(WXK_ESCAPE);
  EXPECT_FALSE(dialog().IsShown());
}

TEST_F(WindowTest, AsksForVersionsAndAppliesPatches) {
  publish(kAppWithReference);
  ASSERT_TRUE(silent_cache().update_store_information(true));
  ASSERT_TRUE(silent_cache().install({"tool-1.0.0"}));
  open_and_wait();
  EXPECT_EQ(state_of("tool-1.0.0"), "installed, upgrade available");
  EXPECT_THAT(live_buttons(), ElementsAre("Patch Selection", "Deselect All", "Close"));

  go_to("lib");
  press_in_question([this] { press(WXK_SPACE); }, {{WXK_ESCAPE, 0}});
  EXPECT_FALSE(grid().IsExpanded(find("lib")));
  EXPECT_THAT(live_buttons(), ElementsAre("Patch Selection", "Deselect All", "Close"));
  press_in_question([this] { press(WXK_SPACE); }, {{'L', wxMOD_ALT}});
  EXPECT_EQ(pane(), "The following packages will be installed:\n    lib-2.0.0");
  press_in_question([this] { press(WXK_SPACE); }, {{'A', wxMOD_ALT}});
  EXPECT_TRUE(grid().IsExpanded(find("lib")));
  press('P', wxMOD_ALT);
  wait_for_pane(
      "The following packages will be patched:\n    tool-1.0.0\n\n"
      "The following packages will be installed:\n    lib-1.0.0\n    lib-2.0.0");
  press('D', wxMOD_ALT);
  wait_for_pane("The following packages will be uninstalled:\n    tool-1.0.0");
  press('R', wxMOD_ALT);
  wait_for_pane("Select the packages you want to install and then click \"Apply\".");

  press('P', wxMOD_ALT);
  wait_for_pane("The following packages will be patched:\n    tool-1.0.0");
  press(WXK_RETURN);
  wait_for_operation(" PKG Upgrade from tool-1.0.0.\n");
  EXPECT_THAT(installed(), ElementsAre("tool-1.0.1"));
}

TEST_F(WindowTest, TicksWithTheMouse) {
  publish(kAppWithReference);
  open_and_wait();
  grid().Expand(find("tool"));
  settle();
  wxUIActionSimulator mouse;
  const auto cell = [this] {
    return grid().GetItemRect(find("tool-1.0.1"), column(packages_ui::kBoxColumn));
  };
  const wxPoint box(grid().ClientToScreen(cell().GetTopLeft()) +
                    wxPoint(grid().FromDIP(10), cell().height / 2));
  mouse.MouseMove(box);
  settle();
  mouse.MouseClick();
  wait_until([this] { return rows().back() == "  [x] tool-1.0.1"; }, "the box is ticked");
  // A double click is two clicks, not a wish for a patch.
  mouse.MouseDblClick();
  settle();
  EXPECT_EQ(rows().back(), "  [x] tool-1.0.1");
  EXPECT_EQ(pane(), "The following packages will be installed:\n    tool-1.0.1");
}

TEST_F(WindowTest, AWindowThatIsGoneIsNotReachedAnyMore) {
  publish(kAppWithReference);
  server_.set_fault("/bootstrap", loopback::Fault::late(std::chrono::milliseconds(300)));
  open();
  settle();
  close();  // waits for the worker; what it posted is dropped
  settle();
}

class TaxonomyWindowTest : public WindowTest {
 protected:
  TaxonomyWindowTest() : WindowTest("xbrl") {}
};

TEST_F(TaxonomyWindowTest, HasItsOwnTitleAndWords) {
  serve_bootstrap("{}");
  open_and_wait({"x"});
  EXPECT_EQ(dialog().GetTitle(), "Zendro XBRL Taxonomy Manager");
  EXPECT_THAT(pane(), HasSubstr("No information found for XBRL Taxonomy x."));
}

}  // namespace
}  // namespace zendro::tests
