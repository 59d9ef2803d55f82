// A dialog in front of a store on loopback, driven by real keys and a real mouse.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <wx/evtloop.h>
#include <wx/textctrl.h>
#include <wx/timer.h>
#include <wx/uiaction.h>

#include "app/window_thread.h"
#include "packages_ui/packages_dlg.h"
#include "packages_ui/selection/grid_columns.h"
#include "tests/manager_fixture.h"

namespace zendro::tests {

/// How much of a multi-line text lies below what is in sight, in pixels.
int pixels_below(const wxTextCtrl& control);
/// How long the text of a control is, in characters, with line ends of one character.
std::size_t length_of(const wxTextCtrl& control);

/// An event loop for windows that a test makes on its own thread, and keys for them.
class WindowLoop {
 public:
  WindowLoop();
  virtual ~WindowLoop() = default;

  /// Lets the windows work until `condition` holds; a test failure when that takes too long.
  void wait_until(const std::function<bool()>& condition, const std::string& what);
  /// Lets the windows work on what has been asked of them.
  void settle();
  /// Presses a key.
  void press(int key, int modifiers = 0);
  /// Gives a window the keyboard, with the cursor in one of its controls.
  void take_keyboard(wxTopLevelWindow& window, wxWindow& control);

  [[nodiscard]] wxUIActionSimulator& simulator() { return simulator_; }
  [[nodiscard]] const std::shared_ptr<framework::ActionPoster>& window_thread() const {
    return window_thread_;
  }

 protected:
  /// For a report of what was waited for in vain.
  [[nodiscard]] virtual std::string what_is_shown() const { return {}; }

 private:
  void work();

  wxGUIEventLoop loop_;
  wxEventLoopActivator active_{&loop_};
  wxTimer heartbeat_;
  wxUIActionSimulator simulator_;
  std::shared_ptr<framework::ActionPoster> window_thread_;
};

class WindowTest : public ManagerTest, public WindowLoop {
 protected:
  explicit WindowTest(std::string type = "xsd");
  ~WindowTest() override;

  /// Shows the dialog and returns at once.
  void open(std::vector<std::string> identities = {}, std::string package_file = {});
  /// Shows the dialog and waits until it is idle and has the keyboard, with the cursor in the grid.
  void open_and_wait(std::vector<std::string> identities = {}, std::string package_file = {});
  void take_keyboard() { WindowLoop::take_keyboard(dialog(), grid()); }
  void close();

  void wait_idle();
  /// Waits until the pane shows exactly this; a pressed button takes a moment to act.
  void wait_for_pane(const std::string& text);
  /// Waits until the pane contains a line of an operation, and the operation has ended.
  void wait_for_operation(const std::string& line);

  /// Presses keys while `action` waits in a question.
  void press_in_question(const std::function<void()>& action,
                         std::vector<std::pair<int, int>> keys);
  /// Moves the cursor of the grid to a row by its text.
  void go_to(const std::string& text);

  /// Where the window keeps its size and place.
  [[nodiscard]] std::filesystem::path state_file() const;
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
  [[nodiscard]] wxDataViewColumn* column(packages_ui::GridColumn column) const;
  [[nodiscard]] wxDataViewItem find(const std::string& text) const;

  std::shared_ptr<pkg::pkg_cache_t> window_cache_;

 private:
  [[nodiscard]] std::string what_is_shown() const override { return pane(); }

  std::unique_ptr<packages_ui::PackagesDlg> dialog_;
};

}  // namespace zendro::tests
