// The application object: one run of the program from its arguments to the end of its window.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/frontend_windows.h"
#include "app/options/package_types.h"

namespace zendro::app {

class PkgFrontendApp {
 public:
  /// `arguments` is the argument vector as given, in UTF-8; its first element decides the package
  /// type. The windows outlive the object.
  PkgFrontendApp(std::vector<std::string> arguments, FrontendWindows& windows);

  /// Does the whole run: opens the dialog and returns when it is closed, or shows one message box.
  /// False in every case: there is nothing to run afterwards. Called once, on the window thread.
  bool InitInstance();
  /// The program's, after the run: 1 where the run ended with a failure that left no window to tell
  /// of it, and a message box did.
  [[nodiscard]] int exit_status() const { return exit_status_; }

 private:
  void run();
  void open(const std::shared_ptr<pkg::pkg_cache_t>& cache,
            const std::vector<std::string>& arguments, bool are_identifiers);
  void show_box(const std::wstring& text);

  std::vector<std::string> arguments_;
  const PackageType& type_;
  FrontendWindows& windows_;
  int exit_status_ = 0;
};

}  // namespace zendro::app
