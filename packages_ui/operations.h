// The long-running work behind the window: bringing the package information up to date, applying
// changes, and loading the lists afterwards. Free of any window.
#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "msg/logger.h"
#include "packages_ui/package_table.h"
#include "pkg/cache.h"

namespace zendro::packages_ui {

/// What the lists of the cache hold.
struct LoadedPackages {
  std::unique_ptr<PackageTable> table;
  bool complete = false;  ///< no problem was reported while the lists were loaded
};

/// Runs on a worker thread, one call at a time. No call throws for what the package core or the
/// machine does: every failure is shown as text, and the lists are loaded all the same.
class Operations {
 public:
  using ShowText = std::function<void(std::wstring_view)>;

  /// `show_text` receives the texts of messages, `log` the log lines, `show_progress` how far the
  /// operation is; all are called on the thread of the operation.
  Operations(std::shared_ptr<pkg::pkg_cache_t> cache, std::shared_ptr<msg::LogHandler> log,
             ShowText show_text, pkg::progress_sink_t show_progress);

  /// The lists as they are, without a word: what is wrong with them is said when they are loaded
  /// after the update.
  [[nodiscard]] LoadedPackages load_cached();
  [[nodiscard]] LoadedPackages update_and_load();
  /// Removes, then, if that succeeded, installs.
  [[nodiscard]] LoadedPackages apply_and_load(const std::vector<pkg::filter_action_t>& requests);

 private:
  LoadedPackages run_and_load(const std::function<void()>& operation);
  LoadedPackages load(const ShowText& show_problem);

  std::shared_ptr<pkg::pkg_cache_t> cache_;
  std::shared_ptr<msg::LogHandler> log_;
  ShowText show_text_;
  pkg::progress_sink_t show_progress_;
};

}  // namespace zendro::packages_ui
