// Entry point: starts the toolkit, runs the application object, stops the toolkit.
#include <exception>

#include <windows.h>
#include <commctrl.h>
#include <wx/app.h>
#include <wx/init.h>
#include <wx/msgdlg.h>

#include "app/pkg_frontend_app.h"
#include "app/process_arguments.h"
#include "app/toolkit_windows.h"
#include "framework/system/system_error.h"

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
  if (!wxEntryStart(instance, previous, nullptr, show)) {
    MessageBoxW(nullptr, L"The window cannot be opened.", nullptr, MB_OK | MB_ICONERROR);
    return 1;
  }
  int status = 1;
  try {
    zendro::app::ToolkitWindows windows;
    zendro::app::PkgFrontendApp program(zendro::app::process_arguments(), windows);
    program.InitInstance();
    status = program.exit_status();
  } catch (const std::exception& error) {
    wxMessageBox(wxString::FromUTF8(zendro::framework::exception_text(error)));
  }
  wxEntryCleanup();
  return status;
}
