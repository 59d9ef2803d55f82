// A dialog in front of a store on loopback, driven by real keys and a real mouse.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <wx/evtloop.h>
#include <wx/uiaction.h>

#include "app/window_thread.h"
#include "packages_ui/packages_dlg.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {

class WindowTest : public ManagerTest {
 protected:
  explicit WindowTest(std::string type = "xsd");
  ~WindowTest() override;

  /// Shows the dialog and returns at once.
  void open(std::vector<std::string> preselection = {});
  /// Shows the dialog and waits until it is idle and has the keyboard, with the cursor in the grid.
  void open_and_wait(std::vector<std::string> preselection = {});
  void close();

  /// Lets the window work until `condition` holds; a test failure when that takes too long.
  void wait_until(const std::function<bool()>& condition, const std::string& what);
  void wait_idle();
  /// Waits until the pane shows exactly this; a pressed button takes a moment to act.
  void wait_for_pane(const std::string& text);
  /// Waits until the pane contains a line of an operation, and the operation has ended.
  void wait_for_operation(const std::string& line);
  /// Lets the window work on what has been asked of it.
  void settle();

  /// Presses a key.
  void press(int key, int modifiers = 0);
  /// Presses keys while `action` waits in a question.
  void press_in_question(const std::function<void()>& action,
                         std::vector<std::pair<int, int>> keys);
  /// Moves the cursor of the grid to a row by its text.
  void go_to(const std::string& text);

  /// The text of the output pane.
  [[nodiscard]] std::string pane() const;
  /// The rows of the grid as "[ ] name", with "[x]" for a ticked one and "[-]" for a package of
  /// which some versions are; versions are indented.
  [[nodiscard]] std::vector<std::string> rows() const;
  /// The state column of a row.
  [[nodiscard]] std::string state_of(const std::string& text) const;
  /// The captions of the buttons that are enabled.
  [[nodiscard]] std::vector<std::string> live_buttons() const;

  [[nodiscard]] packages_ui::PackagesDlg& dialog() const { return *dialog_; }
  [[nodiscard]] wxDataViewCtrl& grid() const;
  [[nodiscard]] wxDataViewItem find(const std::string& text) const;

  std::shared_ptr<pkg::pkg_cache_t> window_cache_;

 private:
  void take_keyboard();

  wxGUIEventLoop loop_;
  wxEventLoopActivator active_{&loop_};
  wxUIActionSimulator simulator_;
  std::shared_ptr<app::WindowThread> window_thread_;
  std::unique_ptr<packages_ui::PackagesDlg> dialog_;
};

}  // namespace zendro::tests
