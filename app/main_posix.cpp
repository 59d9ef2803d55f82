// Entry point: starts the toolkit, runs the application object, stops the toolkit.
#include <cstdio>
#include <string>
#include <vector>

#include <wx/app.h>
#include <wx/init.h>

#include "app/pkg_frontend_app.h"
#include "app/toolkit_windows.h"

int main(int argc, char** argv) {
  // Taken before the toolkit, which removes what it understands itself.
  std::vector<std::string> arguments(argv, argv + argc);

  wxApp::SetInstance(new wxApp);
  if (!wxEntryStart(argc, argv)) {
    std::fputs("The window cannot be opened: there is no display.\n", stderr);
    return 1;
  }
  int status = 0;
  {
    zendro::app::ToolkitWindows windows;
    zendro::app::PkgFrontendApp program(std::move(arguments), windows);
    program.InitInstance();
    status = program.exit_status();
  }
  wxEntryCleanup();
  return status;
}
