// The windows of a run, as the toolkit shows them.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/frontend_windows.h"
#include "framework/system/action_poster.h"

namespace zendro::app {

/// Made and destroyed on the window thread, while the toolkit is started.
class ToolkitWindows : public FrontendWindows {
 public:
  /// Throws std::system_error where the system refuses what it takes.
  ToolkitWindows();

  void show_box(const std::wstring& caption, const std::wstring& text) override;
  void run_shown(const std::wstring& caption,
                 const std::function<void(const packages_ui::ShowStart&)>& work,
                 const std::function<bool()>& stop) override;
  void open_dialog(std::shared_ptr<pkg::pkg_cache_t> cache,
                   packages_ui::Preselection preselection) override;

 private:
  std::shared_ptr<framework::ActionPoster> window_thread_;
};

}  // namespace zendro::app
