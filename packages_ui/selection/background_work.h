// The long-running work behind the window: bringing the package information up to date, applying
// changes, and loading the lists afterwards. Free of any window.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "msg/logger.h"
#include "packages_ui/selection/package_table.h"
#include "pkg/cache.h"

namespace zendro::packages_ui {

/// The result of an operation.
struct LoadedPackages {
  std::unique_ptr<PackageTable> table;  ///< what the lists hold; null if they cannot be loaded
  bool complete = false;                ///< no problem was reported while the lists were loaded
  bool succeeded = false;               ///< of apply_and_load(): everything has been done
};

/// Runs on a worker thread, one call at a time. No call throws for what the package core or the
/// machine does: every failure is shown as text, and the lists are loaded all the same.
class BackgroundWork {
 public:
  using ShowText = std::function<void(std::wstring_view)>;

  /// `show_text` receives the texts of messages, `log` the log lines, `show_progress` how far the
  /// operation is, `show_wait` whether it waits for another program. All are called on the thread
  /// of the operation.
  BackgroundWork(std::shared_ptr<pkg::pkg_cache_t> cache, std::shared_ptr<msg::LogHandler> log,
                 ShowText show_text, pkg::progress_sink show_progress,
                 pkg::wait_sink show_wait = {});

  /// Loads the lists as they are on disk. Reports no problem: those that are still there after the
  /// update are reported then. Gives no table while another program works on the same lists.
  [[nodiscard]] LoadedPackages load_cached_at_once();
  /// The same, but waits for the other program.
  [[nodiscard]] LoadedPackages load_cached();
  /// Updates the lists from the store, adds what `package_file` holds unless that is empty, and
  /// loads the lists.
  [[nodiscard]] LoadedPackages update_and_load(std::string_view package_file = {});
  /// Uninstalls, then installs, and loads the lists. What cannot be done is reported before
  /// anything is changed.
  [[nodiscard]] LoadedPackages apply_and_load(const std::vector<pkg::filter_action>& actions);

 private:
  LoadedPackages run_and_load(const std::function<void()>& operation);
  using ReadView = std::function<std::optional<pkg::merged_view_t>()>;
  LoadedPackages load(const ShowText& show_problem, const ReadView& read_view);

  std::shared_ptr<pkg::pkg_cache_t> cache_;
  std::shared_ptr<msg::LogHandler> log_;
  ShowText show_text_;
  pkg::progress_sink show_progress_;
  pkg::wait_sink show_wait_;
};

}  // namespace zendro::packages_ui
