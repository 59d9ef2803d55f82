#include "app/toolkit_windows.h"

#include <filesystem>
#include <utility>

#include <wx/msgdlg.h>
#include <wx/stdpaths.h>

#include "app/window_thread.h"
#include "framework/system/files.h"
#include "packages_ui/packages_dlg.h"
#include "packages_ui/start_window.h"

namespace zendro::app {
namespace {

// A file of the user's own settings, by the rules of the system.
std::filesystem::path window_state_file(const std::string& type) {
  wxStandardPaths& places = wxStandardPaths::Get();
  places.SetFileLayout(wxStandardPaths::FileLayout_XDG);
  return framework::path_from_utf8(places.GetUserConfigDir().utf8_string()) /
         "zendro-package-manager" / ("window-" + type + ".json");
}

}  // namespace

ToolkitWindows::ToolkitWindows() : window_thread_(make_window_thread()) {}

void ToolkitWindows::show_box(const std::wstring& caption, const std::wstring& text) {
  wxMessageBox(wxString(text), wxString(caption));
}

void ToolkitWindows::run_shown(const std::wstring& caption,
                               const std::function<void(const packages_ui::ShowStart&)>& work,
                               const std::function<bool()>& stop) {
  packages_ui::StartWindow(caption, window_thread_).run(work, stop);
}

void ToolkitWindows::open_dialog(std::shared_ptr<pkg::pkg_cache_t> cache,
                                 packages_ui::Preselection preselection) {
  const std::filesystem::path state_file = window_state_file(cache->type());
  packages_ui::PackagesDlg dialog(nullptr, std::move(cache), window_thread_,
                                  std::move(preselection), state_file);
  dialog.ShowModal();
}

}  // namespace zendro::app
