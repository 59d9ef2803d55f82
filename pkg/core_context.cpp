#include "pkg/core_context.h"

#include <utility>

#include "app/options.h"
#include "framework/files.h"
#include "msg/utf.h"

namespace zendro::pkg {
namespace {

// A folder of the option set with the system's separators, also at its end.
std::string folder_text(const json::value& value) {
  if (value.is_null()) return {};
  const std::string_view folder = framework::as_string(value);
  if (folder.empty()) return {};
  std::filesystem::path path = framework::path_from_utf8(folder) / std::filesystem::path();
  return framework::path_to_utf8(path.make_preferred());
}

}  // namespace

core_context_t::core_context_t(std::string_view type, const json::object& options,
                               outlets_t outlets, std::mutex& global_lock)
    : type_(type),
      options_(options),
      reporter_(std::move(outlets.messages)),
      progress_(std::move(outlets.progress)),
      log_(std::move(outlets.log)),
      make_transport_(std::move(outlets.make_transport)),
      global_lock_(global_lock) {
  const json::value cache_root = app::get_cache_root(&options_);
  const json::value install_root = app::get_install_root(&options_);
  has_folders_ = !cache_root.is_null() && !install_root.is_null();
  cache_root_ = folder_text(cache_root);
  type_folders_ = type_folders_t(folder_text(install_root), cache_root_);
  available_name_ = framework::as_string(app::get_pkgs_available_name(&options_));
  available_path_ = cache_file(available_name_);
  installed_path_ = cache_file(framework::as_string(app::get_pkgs_installed_name(&options_)));
}

framework::HttpTransport& core_context_t::http() {
  if (!transport_)
    transport_ = make_transport_ ? make_transport_() : framework::make_http_transport();
  return *transport_;
}

std::shared_ptr<framework::HttpResponse> core_context_t::get(const framework::HttpRequest& request,
                                                             framework::IoError& error) {
  return progress_.watch(http().get(request, error));
}

std::string core_context_t::cache_file(std::string_view name) const {
  return cache_root_ + std::string(name);
}

bool core_context_t::is_initialised() const {
  return has_folders_ && framework::file_exists(framework::path_from_utf8(available_path_));
}

bool core_context_t::fail(msg::Code code, const msg::Arguments& arguments, std::string_view hint) {
  report(code, arguments, hint, msg::Severity::error);
  return false;
}

void core_context_t::warn(msg::Code code, const msg::Arguments& arguments, std::string_view hint) {
  report(code, arguments, hint, msg::Severity::warning);
}

void core_context_t::report(msg::Code code, const msg::Arguments& arguments, std::string_view hint,
                            msg::Severity severity) {
  reporter_.report(msg::Message{code, arguments, severity, msg::to_wide(hint)});
}

void core_context_t::log(msg::Code code, int level, const msg::Arguments& arguments) {
  if (!log_) return;
  log_->log_message(msg::kLogKind, static_cast<int>(code), arguments, level);
}

msg::Argument core_context_t::pkgtype() const {
  return {L"pkgtype", std::wstring(msg::type_label(type_, false))};
}

msg::Argument core_context_t::pkgtypes() const {
  return {L"pkgtypes", std::wstring(msg::type_label(type_, true))};
}

msg::Argument pkg_argument(const name_semver_t& identity) {
  return text_argument(L"pkg", to_string(identity));
}

msg::Argument text_argument(std::wstring_view name, std::string_view utf8) {
  return {std::wstring(name), msg::to_wide(utf8)};
}

msg::Argument path_argument(std::string_view path) { return text_argument(L"path", path); }

}  // namespace zendro::pkg
