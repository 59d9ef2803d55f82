// What the selection asks the user. The window shows message boxes.
#pragma once

#include <span>
#include <string>

namespace zendro::packages_ui {

enum class VersionsAnswer { latest, all, cancel };

class SelectionQuestions {
 public:
  virtual ~SelectionQuestions() = default;
  /// Which versions of a package are to be ticked.
  virtual VersionsAnswer latest_all_cancel() = 0;
  /// These packages depend on what is to be removed: true to remove them too, false to leave
  /// everything as it was.
  virtual bool remove_dependants(std::span<const std::wstring> packages) = 0;
  /// These packages were used by what has been removed and by nothing else: true to remove them
  /// too.
  virtual bool remove_used_by(std::span<const std::wstring> packages) = 0;
};

}  // namespace zendro::packages_ui
