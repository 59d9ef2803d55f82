// The packages that the program was started with; they are ticked when the window opens.
#pragma once

#include <string>
#include <vector>

namespace zendro::packages_ui {

struct Preselection {
  std::vector<std::string> identities;
  /// The package file that provides them; empty if there is none. Its entries were added to the
  /// available list. An update may replace that list, so they are added again afterwards.
  std::string package_file;
};

}  // namespace zendro::packages_ui
