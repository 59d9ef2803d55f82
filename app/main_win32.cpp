// Entry point: starts the toolkit, runs the application object, stops the toolkit.
#include <exception>

#include <windows.h>
#include <commctrl.h>
#include <wx/app.h>
#include <wx/init.h>
#include <wx/msgdlg.h>

#include "app/pkg_frontend_app.h"
#include "app/process_arguments.h"

namespace {

// All of the basic classes.
void start_common_controls() {
  INITCOMMONCONTROLSEX classes = {sizeof classes, ICC_WIN95_CLASSES};
  static_assert(sizeof classes == 8 && ICC_WIN95_CLASSES == 0xFF);
  InitCommonControlsEx(&classes);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE previous, PWSTR, int show) {
  start_common_controls();
  wxApp::SetInstance(new wxApp);
  if (!wxEntryStart(instance, previous, nullptr, show)) return 1;
  try {
    zendro::app::PkgFrontendApp(zendro::app::process_arguments()).InitInstance();
  } catch (const std::exception& error) {
    wxMessageBox(wxString::FromUTF8(error.what()));
  }
  wxEntryCleanup();
  return 0;
}
