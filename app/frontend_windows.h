// The windows that a run of the program shows, whatever shows them.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "packages_ui/selection/preselection.h"
#include "packages_ui/selection/start_progress.h"
#include "pkg/cache.h"

namespace zendro::app {

/// Called on the window thread. Each call returns when its window has gone.
class FrontendWindows {
 public:
  virtual ~FrontendWindows() = default;

  virtual void show_box(const std::wstring& caption, const std::wstring& text) = 0;
  /// Runs `work`, perhaps on another thread, and tells how far it is. `stop` is called when the
  /// user does not want to wait for it; true: it ends soon. Throws what `work` throws.
  virtual void run_shown(const std::wstring& caption,
                         const std::function<void(const packages_ui::ShowStart&)>& work,
                         const std::function<bool()>& stop) = 0;
  virtual void open_dialog(std::shared_ptr<pkg::pkg_cache_t> cache,
                           packages_ui::Preselection preselection) = 0;
};

}  // namespace zendro::app
