#include "pkg/core_context.h"

#include <utility>

#include "app/options/options.h"
#include "app/options/package_types.h"
#include "framework/system/files.h"
#include "msg/shown.h"

namespace zendro::pkg {
namespace {

// A folder of the option set with the system's separators, also at its end. Empty where none is
// known: a relative one would be wherever the program happens to be started.
std::string folder_text(const json::value& value) {
  if (value.is_null()) return {};
  std::filesystem::path path = framework::path_from_utf8(framework::as_string(value));
  if (!path.is_absolute()) return {};
  path /= std::filesystem::path();
  return framework::path_to_utf8(path.make_preferred());
}

}  // namespace

core_context::core_context(std::string_view type, const json::object& options, outlets_t outlets,
                           std::mutex& global_lock)
    : type_(type),
      options_(options),
      reporter_(std::move(outlets.messages)),
      progress_(std::move(outlets.progress), outlets.stop),
      plan_(std::move(outlets.plan)),
      stop_(std::move(outlets.stop)),
      log_(std::move(outlets.log)),
      make_transport_(std::move(outlets.make_transport)),
      global_lock_(global_lock),
      noted_(std::move(outlets.noted)) {
  const std::string cache_root = folder_text(app::get_cache_root(&options_));
  const std::string install_root = folder_text(app::get_install_root(&options_));
  if (!cache_root.empty() && !install_root.empty()) {
    cache_root_ = cache_root;
    cache_folder_ = root_folder(cache_root, install_root);
    type_folders_ = type_folders(install_root, cache_root);
  }
  available_name_ = framework::as_string(app::get_pkgs_available_name(&options_));
  installed_name_ = framework::as_string(app::get_pkgs_installed_name(&options_));
  available_path_ = cache_file(available_name_);
  installed_path_ = cache_file(installed_name_);
}

framework::HttpTransport& core_context::http() {
  if (!transport_)
    transport_ = make_transport_ ? make_transport_() : framework::make_http_transport();
  return *transport_;
}

framework::HttpAnswer core_context::get(const framework::HttpRequest& request) {
  framework::HttpAnswer answer = http().get(request);
  if (answer) *answer = progress_.watch(std::move(*answer));
  return answer;
}

std::string core_context::cache_file(std::string_view name) const {
  return has_folders() ? cache_root_ + std::string(name) : std::string();
}

bool core_context::is_initialised() {
  const borrowed_folder folder = cache_folder_.open();
  if (!folder) return !folder.error().is_absent();
  return (*folder)->kind_of(available_name_) != framework::EntryKind::absent;
}

bool core_context::is_stopped() {
  if (stop_.stop_requested()) reporter_.report(framework::IoError{std::string(kStopped)});
  return stop_.stop_requested();
}

bool core_context::fail(msg::Code code, const msg::Arguments& arguments, std::string_view hint) {
  report(code, arguments, hint, msg::Severity::error);
  return false;
}

void core_context::warn(msg::Code code, const msg::Arguments& arguments, std::string_view hint) {
  report(code, arguments, hint, msg::Severity::warning);
}

void core_context::warn_once(msg::Code code, const msg::Arguments& arguments,
                             std::string_view hint) {
  if (warned_once_.insert(code).second) warn(code, arguments, hint);
}

void core_context::report(msg::Code code, const msg::Arguments& arguments, std::string_view hint,
                          msg::Severity severity) {
  reporter_.report(msg::Message{code, arguments, severity, msg::shown(hint)});
}

void core_context::log(msg::Code code, int level, const msg::Arguments& arguments) {
  if (!log_) return;
  log_->log_message(msg::kLogKind, static_cast<int>(code), arguments, level);
}

msg::Argument core_context::pkgtype() const {
  return {L"pkgtype", std::wstring(app::package_type(type_).label)};
}

msg::Argument core_context::pkgtypes() const {
  return {L"pkgtypes", std::wstring(app::package_type(type_).plural_label)};
}

msg::Argument pkg_argument(const name_semver_t& identity) {
  return text_argument(L"pkg", to_string(identity));
}

msg::Argument text_argument(std::wstring_view name, std::string_view utf8) {
  return {std::wstring(name), msg::shown(utf8)};
}

msg::Argument path_argument(std::string_view path) { return text_argument(L"path", path); }

}  // namespace zendro::pkg
