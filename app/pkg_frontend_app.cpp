#include "app/pkg_frontend_app.h"

#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "app/command_line.h"
#include "app/options/options.h"
#include "app/options/options_file.h"
#include "app/package_file_start.h"
#include "framework/system/system_error.h"
#include "framework/url/url_io.h"
#include "msg/shown.h"
#include "packages_ui/selection/shown_text.h"
#include "packages_ui/selection/ui_messages.h"
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

}  // namespace

PkgFrontendApp::PkgFrontendApp(std::vector<std::string> arguments, FrontendWindows& windows)
    : arguments_(std::move(arguments)),
      type_(type_of_program(arguments_.empty() ? std::string() : arguments_.front())),
      windows_(windows) {}

bool PkgFrontendApp::InitInstance() {
  try {
    run();
  } catch (const std::exception& error) {
    exit_status_ = 1;
    show_box(msg::shown(framework::exception_text(error)));
  }
  return false;
}

void PkgFrontendApp::run() {
  pkg::register_active_types(pkg::make_active_type_set({type_.word}));
  const DefaultSettingsOfRun default_settings;

  const std::string path = options_file_path();
  tl::expected<json::object, std::string> options = read_options_file(path);
  if (!options) {
    show_box(L"Can't read options from " + msg::shown(path) + L":\n" + msg::shown(options.error()));
    return;
  }
  set_type(*options, type_.word);

  const std::span<const std::string> all(arguments_);
  const CommandLine command_line = parse_command_line(all.subspan(all.empty() ? 0 : 1));
  if (!command_line.installer.empty()) {
    options->erase(option::installer);
    set_installer(nullptr, json::value(json::string(command_line.installer)));
  }
  const PackageUrlsOfRun package_urls(*options);
  open(std::make_shared<pkg::pkg_cache_t>(type_.word, *options), command_line.arguments,
       command_line.ids_mode);
}

void PkgFrontendApp::open(const std::shared_ptr<pkg::pkg_cache_t>& cache,
                          const std::vector<std::string>& arguments, bool are_identifiers) {
  packages_ui::Preselection preselection;
  if (are_identifiers) {
    preselection.identities = arguments;
  } else if (!arguments.empty() && !arguments.front().empty()) {
    PackageFileStart start;
    windows_.run_shown(
        packages_ui::window_caption(cache->type()),
        [&](const packages_ui::ShowStart& show) {
          start = start_with_package_file(*cache, arguments.front(), show);
        },
        [&] { return cache->stop_waiting(); });
    if (!start.preselection) {
      if (!start.box_text.empty()) show_box(start.box_text);
      return;
    }
    preselection = std::move(*start.preselection);
  }
  windows_.open_dialog(cache, std::move(preselection));
}

void PkgFrontendApp::show_box(const std::wstring& text) {
  windows_.show_box(packages_ui::window_caption(type_.word), packages_ui::boxed(text));
}

}  // namespace zendro::app
