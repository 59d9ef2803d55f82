#include "packages_ui/dialog_questions.h"

#include <algorithm>
#include <vector>

#include "msg/shown.h"
#include "packages_ui/native_box.h"
#include "packages_ui/selection/shown_text.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// A message box must not become taller than the screen.
constexpr std::size_t kMostListedPackages = 20;
constexpr std::size_t kLongestListedName = 100;  // in characters

wxString text_of(UiCode code) { return wxString(ui_message(code)); }

wxString text_with(UiCode code, std::span<const std::wstring> packages) {
  std::vector<std::wstring> listed(
      packages.begin(), packages.begin() + std::min(packages.size(), kMostListedPackages));
  for (std::wstring& package : listed) package = msg::shown(package, kLongestListedName);
  if (packages.size() > kMostListedPackages) listed.push_back(L"...");
  return wxString(boxed(ui_message_with_packages(code, listed, L"", L"\n")));
}

bool confirmed(wxWindow* parent, const wxString& text, long icon) {
  const auto box =
      make_message_box(parent, text, text_of(UiCode::PackageUIUninstallDependenciesCaption),
                       wxOK | wxCANCEL | wxCENTRE | icon);
  return box->ShowModal() == wxID_OK;
}

}  // namespace

VersionsAnswer DialogQuestions::latest_all_cancel() {
  const auto box = make_message_box(parent_, text_of(UiCode::PackageUIMultipleVersionsText),
                                    text_of(UiCode::PackageUIMultipleVersionsCaption),
                                    wxYES_NO | wxCANCEL | wxCENTRE | wxICON_QUESTION);
  box->SetYesNoLabels(text_of(UiCode::PackageUIMultipleVersionsLatest),
                      text_of(UiCode::PackageUIMultipleVersionsAll));
  switch (box->ShowModal()) {
    case wxID_YES:
      return VersionsAnswer::latest;
    case wxID_NO:
      return VersionsAnswer::all;
    default:
      return VersionsAnswer::cancel;
  }
}

bool DialogQuestions::remove_dependants(std::span<const std::wstring> packages) {
  return confirmed(parent_, text_with(UiCode::PackageUIUninstallDependenciesText, packages),
                   wxICON_INFORMATION);
}

bool DialogQuestions::remove_used_by(std::span<const std::wstring> packages) {
  return confirmed(parent_, text_with(UiCode::PackageUIUninstallUsedByText, packages),
                   wxICON_QUESTION);
}

}  // namespace zendro::packages_ui
