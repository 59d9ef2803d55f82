#include "app/options.h"

#include <algorithm>
#include <array>
#include <optional>

#include "framework/files.h"

namespace zendro::app {
namespace {

namespace fs = std::filesystem;

struct TypeTraits {
  std::string_view name;
  std::string_view package_file_extension;
  std::string_view cache_folder;
  std::string_view manager;
};

constexpr std::array<TypeTraits, 2> kTypes = {{
    {"xbrl", ".zendro_taxonomies", ".cache", "SharedBetweenVersions/plintor.exe"},
    {"xsd", ".zendro_xmlschemas", ".xsd_cache", "SharedBetweenVersions/korvane.exe"},
}};

constexpr std::string_view kStoreHost = ZENDRO_STORE_HOST;
constexpr std::string_view kStagingStoreHost = ZENDRO_STAGING_STORE_HOST;

// Codes of the product that the core is linked into; this program has neither.
constexpr std::string_view kProductCode;
constexpr std::string_view kEditionCode;

struct DefaultSettings {
  json::value taxonomy_cache_root;
  json::value schema_cache_root;
  json::value install_root;
  json::value installer;
};

std::optional<DefaultSettings>& default_settings() {
  static std::optional<DefaultSettings> settings;
  return settings;
}

const TypeTraits* traits_of(std::string_view type) {
  const auto found = std::find_if(kTypes.begin(), kTypes.end(),
                                  [type](const TypeTraits& traits) { return traits.name == type; });
  return found == kTypes.end() ? nullptr : found;
}

json::value lookup(const json::object* options, std::string_view key, const json::value& fallback) {
  const json::value* value = options == nullptr ? nullptr : options->if_contains(key);
  if (value != nullptr) return *value;
  return fallback;
}

// The type word of the option set; empty where it is missing or no text.
std::string type_of(const json::object* options) {
  const json::value type = get_type(options);
  return type.is_string() ? std::string(type.get_string()) : std::string();
}

bool is_non_empty_string(const json::value& value) {
  return value.is_string() && !value.get_string().empty();
}

json::value text(std::string_view value) { return json::value(json::string(value)); }

std::string with_separator(const fs::path& folder) {
  return framework::path_to_utf8(folder / fs::path());
}

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
  const std::string type = type_of(options);
  if (traits_of(type) == nullptr) return nullptr;
  const std::optional<DefaultSettings>& settings = default_settings();
  json::value fallback;
  if (settings)
    fallback = type == "xbrl" ? settings->taxonomy_cache_root : settings->schema_cache_root;
  return lookup(options, option::cache_root, fallback);
}

json::value get_install_root(const json::object* options) {
  const std::optional<DefaultSettings>& settings = default_settings();
  return lookup(options, option::install_root, settings ? settings->install_root : json::value());
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
  const std::string type = type_of(options);
  if (traits_of(type) == nullptr) return nullptr;
  return lookup(options, option::store_bootstrap_url,
                text(store_url("/api/" + type + "-manager/v1/bootstrap")));
}

json::value get_telemetry_url(const json::object* options) {
  return lookup(options, option::telemetry_url,
                text(store_url("/api/package-manager/v1/telemetry")));
}

json::value get_log_remote_io(const json::object* options) {
  return lookup(options, option::log_remote_io, nullptr);
}

json::value get_keep_references(const json::object* options) {
  return lookup(options, option::keep_references, nullptr);
}

void set_type(json::object& options, std::string_view type) { options[option::type] = text(type); }

void set_log_remote_io(json::object& options, const json::value& value) {
  set_bool(options, option::log_remote_io, value);
}

void set_keep_references(json::object& options, const json::value& value) {
  set_bool(options, option::keep_references, value);
}

void set_installer(json::object* options, const json::value& value) {
  if (options != nullptr) {
    (*options)[option::installer] = value;
  } else if (default_settings()) {
    default_settings()->installer = value;
  }
}

std::string_view package_file_extension(std::string_view type) {
  const TypeTraits* traits = traits_of(type);
  return traits == nullptr ? std::string_view() : traits->package_file_extension;
}

std::string manager_executable(std::string_view type) {
  const TypeTraits* traits = traits_of(type);
  if (traits == nullptr) return {};
  fs::path path = framework::common_appdata_folder() / fs::path(traits->manager);
  return framework::path_to_utf8(path.make_preferred());
}

std::string base_folder() {
  const fs::path shared = framework::common_appdata_folder();
  return shared.empty() ? std::string() : with_separator(shared / "Zendro");
}

void create_default_settings() {
  std::optional<DefaultSettings>& settings = default_settings();
  if (settings) return;
  const fs::path install_root = framework::path_from_utf8(base_folder()) / "pkgs";
  const auto cache_root = [&install_root](std::string_view type) {
    return text(with_separator(install_root / fs::path(traits_of(type)->cache_folder)));
  };
  const std::string product = std::string(kProductCode) + "::" + std::string(kEditionCode);
  settings =
      DefaultSettings{cache_root("xbrl"), cache_root("xsd"), text(with_separator(install_root)),
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
