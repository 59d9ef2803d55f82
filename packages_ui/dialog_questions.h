// The questions of the selection as message boxes over the dialog.
#pragma once

#include <wx/window.h>

#include "packages_ui/selection/questions.h"

namespace zendro::packages_ui {

class DialogQuestions : public SelectionQuestions {
 public:
  explicit DialogQuestions(wxWindow* parent) : parent_(parent) {}

  VersionsAnswer latest_all_cancel() override;
  bool remove_dependants(std::span<const std::wstring> packages) override;
  bool remove_used_by(std::span<const std::wstring> packages) override;

 private:
  wxWindow* parent_;
};

}  // namespace zendro::packages_ui
