#include "app/pkg_frontend_app.h"

#include <exception>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include <wx/msgdlg.h>
#include <wx/stdpaths.h>

#include "app/command_line.h"
#include "app/options.h"
#include "app/options_file.h"
#include "app/package_file_start.h"
#include "app/window_thread.h"
#include "framework/files.h"
#include "framework/url_io.h"
#include "msg/utf.h"
#include "packages_ui/packages_dlg.h"
#include "packages_ui/ui_messages.h"
#include "pkg/active_types.h"
#include "pkg/cache.h"
#include "pkg/pkg_io.h"

namespace zendro::app {
namespace {

class DefaultSettingsOfRun {
 public:
  DefaultSettingsOfRun() { create_default_settings(); }
  ~DefaultSettingsOfRun() { destroy_default_settings(); }
  DefaultSettingsOfRun(const DefaultSettingsOfRun&) = delete;
  DefaultSettingsOfRun& operator=(const DefaultSettingsOfRun&) = delete;
};

// Lets the framework read package URLs for as long as the run lasts.
class PackageUrlsOfRun {
 public:
  explicit PackageUrlsOfRun(const json::object& options)
      : previous_(framework::set_io_callback(
            std::make_shared<pkg::PkgIOCallback>(std::make_shared<const json::object>(options)))) {}
  ~PackageUrlsOfRun() { framework::set_io_callback(std::move(previous_)); }
  PackageUrlsOfRun(const PackageUrlsOfRun&) = delete;
  PackageUrlsOfRun& operator=(const PackageUrlsOfRun&) = delete;

 private:
  std::shared_ptr<framework::IoCallback> previous_;
};

// A file of the user's own settings, by the rules of the system.
std::filesystem::path window_state_file(PackageType type) {
  wxStandardPaths& places = wxStandardPaths::Get();
  places.SetFileLayout(wxStandardPaths::FileLayout_XDG);
  return framework::path_from_utf8(places.GetUserConfigDir().utf8_string()) /
         "zendro-package-manager" / ("window-" + std::string(type_name(type)) + ".json");
}

}  // namespace

PkgFrontendApp::PkgFrontendApp(std::vector<std::string> arguments)
    : arguments_(std::move(arguments)),
      type_(type_of_program(arguments_.empty() ? std::string() : arguments_.front())) {}

bool PkgFrontendApp::InitInstance() {
  try {
    run();
  } catch (const std::exception& error) {
    show_box(msg::to_wide(error.what()));
  }
  return false;
}

void PkgFrontendApp::run() {
  pkg::register_active_types(pkg::make_active_type_set({type_name(type_)}));
  const DefaultSettingsOfRun default_settings;
  const auto window_thread = make_window_thread();

  const std::string path = options_file_path();
  std::string error;
  std::optional<json::object> options = read_options_file(path, error);
  if (!options) {
    show_box(L"Can't read options from " + msg::to_wide(path) + L":\n" + msg::to_wide(error));
    return;
  }
  set_type(*options, type_name(type_));

  const std::span<const std::string> all(arguments_);
  const CommandLine command_line = parse_command_line(all.subspan(all.empty() ? 0 : 1));
  if (!command_line.installer.empty()) {
    options->erase(option::installer);
    set_installer(nullptr, json::value(json::string(command_line.installer)));
  }
  const PackageUrlsOfRun package_urls(*options);

  const auto cache = std::make_shared<pkg::pkg_cache_t>(type_name(type_), *options);
  const auto open_dialog = [&](std::vector<std::string> preselection) {
    packages_ui::PackagesDlg dialog(nullptr, cache, window_thread, std::move(preselection),
                                    window_state_file(type_));
    dialog.ShowModal();
  };
  if (command_line.ids_mode && !command_line.arguments.empty()) {
    open_dialog(command_line.arguments);
    return;
  }
  PackageFileStart start = start_with_package_file(
      *cache, command_line.arguments.empty() ? std::string() : command_line.arguments.front());
  if (start.open_dialog) {
    open_dialog(std::move(start.preselection));
  } else if (!start.box_text.empty()) {
    show_box(start.box_text);
  }
}

void PkgFrontendApp::show_box(const std::wstring& text) const {
  using packages_ui::UiCode;
  wxMessageBox(wxString(text), wxString(packages_ui::ui_message(
                                   type_ == PackageType::xbrl ? UiCode::PackageUICaptionTaxonomy
                                                              : UiCode::PackageUICaptionSchema)));
}

}  // namespace zendro::app
