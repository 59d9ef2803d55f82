#include "app/options/options.h"

#include <algorithm>
#include <optional>

#include "app/options/package_types.h"
#include "framework/system/files.h"

namespace zendro::app {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kMemberSizeLimit = std::int64_t{4} << 30;

constexpr std::string_view kStoreHost = ZENDRO_STORE_HOST;
constexpr std::string_view kStagingStoreHost = ZENDRO_STAGING_STORE_HOST;

// Codes of the product that the core is linked into; this program has neither.
constexpr std::string_view kProductCode;
constexpr std::string_view kEditionCode;

struct DefaultSettings {
  fs::path install_root;
  json::value installer;
};

std::optional<DefaultSettings>& default_settings() {
  static std::optional<DefaultSettings> settings;
  return settings;
}

json::value lookup(const json::object* options, std::string_view key, const json::value& fallback) {
  const json::value* value = options == nullptr ? nullptr : options->if_contains(key);
  if (value != nullptr) return *value;
  return fallback;
}

// The type that the option set names.
const PackageType& type_of(const json::object* options) {
  const json::value type = get_type(options);
  return package_type(type.is_string() ? std::string_view(type.get_string()) : std::string_view());
}

bool is_non_empty_string(const json::value& value) {
  return value.is_string() && !value.get_string().empty();
}

json::value text(std::string_view value) { return json::value(json::string(value)); }

std::string with_separator(const fs::path& folder) {
  return framework::path_to_utf8(folder / fs::path());
}

json::value folder_text(const fs::path& folder) { return text(with_separator(folder)); }

std::string store_url(std::string_view path) {
  std::string url = "https://";
  url += is_staging() ? kStagingStoreHost : kStoreHost;
  url += path;
  return url;
}

void set_bool(json::object& options, std::string_view key, const json::value& value) {
  const bool flag = framework::to_bool(value);
  options[key] = flag;
}

}  // namespace

const std::string_view kBootstrapUrl =
    "https://" ZENDRO_STORE_HOST "/api/package-manager/v1/bootstrap";
const std::string_view kStagingBootstrapUrl =
    "https://" ZENDRO_STAGING_STORE_HOST "/api/package-manager/v1/bootstrap";

json::value get_type(const json::object* options) { return lookup(options, option::type, nullptr); }

json::value get_cache_root(const json::object* options) {
  const PackageType& type = type_of(options);
  if (type.word.empty()) return nullptr;
  const std::optional<DefaultSettings>& settings = default_settings();
  json::value fallback;
  if (settings) fallback = folder_text(settings->install_root / fs::path(type.cache_folder));
  return lookup(options, option::cache_root, fallback);
}

json::value get_install_root(const json::object* options) {
  const std::optional<DefaultSettings>& settings = default_settings();
  return lookup(options, option::install_root,
                settings ? folder_text(settings->install_root) : json::value());
}

json::value get_installer(const json::object* options) {
  json::value given = lookup(options, option::installer, nullptr);
  if (is_non_empty_string(given)) return given;
  const std::optional<DefaultSettings>& settings = default_settings();
  if (settings && is_non_empty_string(settings->installer)) return settings->installer;
  return nullptr;
}

json::value get_pkgs_available_name(const json::object* options) {
  return lookup(options, option::pkgs_available_name, "pkgs-available.json");
}

json::value get_pkgs_installed_name(const json::object* options) {
  return lookup(options, option::pkgs_installed_name, "pkgs-installed.json");
}

json::value get_store_bootstrap_url(const json::object* options) {
  const PackageType& type = type_of(options);
  if (type.word.empty()) return nullptr;
  return lookup(options, option::store_bootstrap_url,
                text(store_url("/api/" + std::string(type.word) + "-manager/v1/bootstrap")));
}

json::value get_telemetry_url(const json::object* options) {
  return lookup(options, option::telemetry_url,
                text(store_url("/api/package-manager/v1/telemetry")));
}

json::value get_store_public_key(const json::object* options) {
  return lookup(options, option::store_public_key, nullptr);
}

json::value get_log_remote_io(const json::object* options) {
  return lookup(options, option::log_remote_io, nullptr);
}

json::value get_keep_references(const json::object* options) {
  return lookup(options, option::keep_references, nullptr);
}

json::value get_uninstall_keep(const json::object* options) {
  return lookup(options, option::uninstall_keep, nullptr);
}

json::value get_telemetry(const json::object* options) {
  return lookup(options, option::telemetry, true);
}

json::value get_io_verify(const json::object* options) {
  return lookup(options, option::io_verify, true);
}

json::value get_local_files(const json::object* options) {
  return lookup(options, option::local_files, true);
}

json::value get_member_size_limit(const json::object* options) {
  return lookup(options, option::member_size_limit, kMemberSizeLimit);
}

std::uint64_t to_size_limit(const json::value& value) {
  const std::int64_t bytes = framework::to_int64(value);
  if (bytes < 1) throw framework::JsonError("is less than 1");
  return static_cast<std::uint64_t>(bytes);
}

void set_type(json::object& options, std::string_view type) { options[option::type] = text(type); }

void set_log_remote_io(json::object& options, const json::value& value) {
  set_bool(options, option::log_remote_io, value);
}

void set_keep_references(json::object& options, const json::value& value) {
  set_bool(options, option::keep_references, value);
}

void set_uninstall_keep(json::object& options, const std::vector<std::string>& identities) {
  options[option::uninstall_keep] = json::array(identities.begin(), identities.end());
}

void set_installer(json::object* options, const json::value& value) {
  if (options != nullptr) {
    (*options)[option::installer] = value;
  } else if (default_settings()) {
    default_settings()->installer = value;
  }
}

std::string manager_executable(std::string_view type) {
  const std::string_view manager = package_type(type).manager;
  if (manager.empty()) return {};
  fs::path path = framework::common_appdata_folder() / fs::path(manager);
  return framework::path_to_utf8(path.make_preferred());
}

std::string base_folder() {
  const fs::path shared = framework::common_appdata_folder();
  return shared.empty() ? std::string() : with_separator(shared / "Zendro");
}

void create_default_settings() {
  std::optional<DefaultSettings>& settings = default_settings();
  if (settings) return;
  const std::string product = std::string(kProductCode) + "::" + std::string(kEditionCode);
  settings = DefaultSettings{framework::path_from_utf8(base_folder()) / "pkgs",
                             product == "::" ? json::value() : text(product)};
}

void destroy_default_settings() { default_settings().reset(); }

bool is_staging(std::string_view executable_path) {
  std::string path(executable_path);
  std::replace(path.begin(), path.end(), '\\', '/');
  return path.find("/tamrixexefolder/") != std::string::npos ||
         path.find("/reference/os/") != std::string::npos;
}

bool is_staging() { return is_staging(framework::path_to_utf8(framework::executable_path())); }

}  // namespace zendro::app
