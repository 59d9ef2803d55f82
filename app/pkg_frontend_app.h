// The application object: one run of the program from its arguments to the end of its window.
#pragma once

#include <string>
#include <vector>

#include "app/package_type.h"

namespace zendro::app {

class PkgFrontendApp {
 public:
  /// `arguments` is the argument vector as given, in UTF-8; its first element decides the package
  /// type.
  explicit PkgFrontendApp(std::vector<std::string> arguments);

  /// Does the whole run: opens the dialog and returns when it is closed, or shows one message box.
  /// False in every case: there is nothing to run afterwards. Called once, on the window thread,
  /// with the toolkit started.
  bool InitInstance();

 private:
  void run();
  void show_box(const std::wstring& text) const;

  std::vector<std::string> arguments_;
  PackageType type_;
};

}  // namespace zendro::app
