#include "pkg/core_context.h"

#include <algorithm>
#include <utility>

#include "app/options.h"
#include "framework/files.h"
#include "msg/utf.h"
#include "pkg/ascii_case.h"

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

// Comparable form of a folder: resolved as far as it exists, ASCII letters in lower case, since
// some file systems do not tell them apart on any system, and with a trailing separator.
std::string comparable(const std::string& folder) {
  const std::filesystem::path resolved =
      framework::resolved_path(framework::path_from_utf8(folder));
  const std::string text = framework::path_to_utf8(resolved / std::filesystem::path());
  return framework::comparable_name(ascii_lower(text));
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
  install_root_ = folder_text(install_root);
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

bool core_context_t::touches_cache(const std::string& folder) {
  if (cache_roots_.empty()) {
    if (!cache_root_.empty()) cache_roots_.push_back(comparable(cache_root_));
    for (const std::string_view type : {"xsd", "xbrl"}) {
      json::object defaults;
      app::set_type(defaults, type);
      const json::value root = app::get_cache_root(&defaults);
      if (root.is_string()) {
        cache_roots_.push_back(comparable(std::string(framework::as_string(root))));
      }
    }
  }
  const std::string own = comparable(folder);
  return std::any_of(cache_roots_.begin(), cache_roots_.end(), [&own](const std::string& root) {
    return own.starts_with(root) || root.starts_with(own);
  });
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
