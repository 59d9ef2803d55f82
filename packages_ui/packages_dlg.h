// The package-manager dialog: the one window of the program.
//
// It brings the package information up to date, shows it in the grid, sums up what the user chose,
// and applies it. Whatever touches disk or network runs on a worker thread; the worker reaches the
// window only through posted actions, which are dropped once the window is gone.
#pragma once

#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <wx/dialog.h>

#include "framework/system/action_poster.h"
#include "msg/logger.h"
#include "packages_ui/output_pane.h"
#include "packages_ui/paced_action.h"
#include "packages_ui/packages_rel_disp.h"
#include "packages_ui/post_action.h"
#include "packages_ui/progress_display.h"
#include "packages_ui/search_field.h"
#include "packages_ui/selection/background_work.h"
#include "packages_ui/selection/parent_ui.h"
#include "packages_ui/selection/preselection.h"
#include "packages_ui/selection/questions.h"
#include "packages_ui/selection/selection.h"
#include "packages_ui/selection/window_state.h"

namespace zendro::packages_ui {

/// The controls of the form.
inline constexpr int kIdTreePackages = 1001;
inline constexpr int kIdPatch = 1003;
inline constexpr int kIdClear = 1004;
inline constexpr int kIdReset = 1005;
inline constexpr int kIdProgress = 1006;
inline constexpr int kIdApply = 1;
inline constexpr int kIdClose = 2;

class PackagesDlg : public wxDialog, public ParentUI {
 public:
  /// From now on the dialog sets the sinks of the cache. `window_thread` posts to the thread that
  /// makes the dialog. `preselection` is ticked once the packages are known.
  /// Size, place and columns are read from `state_file` and written to it when the user closes the
  /// dialog; with an empty path they are not kept.
  PackagesDlg(wxWindow* parent, std::shared_ptr<pkg::pkg_cache_t> cache,
              std::shared_ptr<framework::ActionPoster> window_thread, Preselection preselection,
              std::filesystem::path state_file = {});
  ~PackagesDlg() override;

  /// Whether no operation runs.
  [[nodiscard]] bool idle() const { return idle_; }

 private:
  /// Shows log lines in the output pane.
  class PaneLog;

  void load_form(wxWindow* parent);
  void create_controls();
  void put_in_place(const char* name, wxWindow* control);
  void bind_events();

  void OnInitDialog(wxInitDialogEvent& event);
  void OnOK();
  void OnClose(wxCloseEvent& event);
  void OnCharHook(wxKeyEvent& event);

  void selection_changed() override;
  void report(const msg::Message& message) override;

  void start(std::function<LoadedPackages()> operation,
             std::function<void(LoadedPackages)> completion);
  void show_wait(const std::optional<pkg::waiting_t>& waiting);
  void show_loaded(std::unique_ptr<PackageTable> table,
                   const std::vector<std::string>& preselection = {}, const Wishes& wishes = {});
  void update_buttons();
  void disable_buttons();
  void enable(int id, bool enabled);
  void set_idle(bool idle);
  [[nodiscard]] bool grid_has_focus() const;
  [[nodiscard]] std::wstring caption_of(int id) const;
  [[nodiscard]] std::wstring summary() const;

  std::shared_ptr<pkg::pkg_cache_t> cache_;
  Preselection preselection_;
  std::filesystem::path state_file_;
  std::optional<WindowState> state_;  ///< as read from the file
  /// Posted actions hold this weakly: they run only while the dialog exists.
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
  PostAction post_;

  PackagesRelDisp* grid_ = nullptr;
  SearchField* search_ = nullptr;
  std::unique_ptr<ProgressDisplay> progress_;
  std::unique_ptr<OutputPane> pane_;
  std::unique_ptr<SelectionQuestions> questions_;
  std::unique_ptr<Selection> selection_;
  std::unique_ptr<BackgroundWork> work_;
  std::future<LoadedPackages> cached_;  ///< what is known before the store is asked
  bool idle_ = false;
  bool provisional_ = false;  ///< the grid shows what was known before the store was asked
  bool filling_ = false;      ///< a selection is being made: its changes are not the user's
  /// The thread of the operation. Last, so that it ends before anything that it uses.
  std::jthread thread_;
};

}  // namespace zendro::packages_ui
