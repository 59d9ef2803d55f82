// The options of the package core: a JSON map from "pkg." keys to values, with a default for every
// key that is not given. Nothing reads an option but through these accessors.
//
// Every accessor takes the option set (may be null) and returns the resolved value. A key that is
// present wins, also with an empty string. Folders end with a path separator.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/text/json.h"

namespace zendro::app {

namespace json = boost::json;

namespace option {
inline constexpr std::string_view type = "pkg.type";
inline constexpr std::string_view cache_root = "pkg.cache_root";
inline constexpr std::string_view install_root = "pkg.install_root";
inline constexpr std::string_view installer = "pkg.installer";
inline constexpr std::string_view pkgs_available_name = "pkg.pkgs_available_name";
inline constexpr std::string_view pkgs_installed_name = "pkg.pkgs_installed_name";
inline constexpr std::string_view store_bootstrap_url = "pkg.store_bootstrap_url";
inline constexpr std::string_view store_public_key = "pkg.store_public_key";
inline constexpr std::string_view telemetry = "pkg.telemetry";
inline constexpr std::string_view member_size_limit = "pkg.member_size_limit";
inline constexpr std::string_view telemetry_url = "pkg.telemetry_url";
inline constexpr std::string_view io_verify = "pkg.io.verify";
inline constexpr std::string_view local_files = "pkg.local_files";
inline constexpr std::string_view log_remote_io = "pkg.log-remote-io";
inline constexpr std::string_view keep_references = "pkg.uninstall.keep-references";
inline constexpr std::string_view uninstall_keep = "pkg.uninstall.keep";
// Reserved for a command-line front end of the same core; the window program reads none of them.
inline constexpr std::string_view silent = "pkg.silent";
inline constexpr std::string_view verbose = "pkg.verbose";
inline constexpr std::string_view interactive = "pkg.interactive";
inline constexpr std::string_view list_installed = "pkg.list.installed";
inline constexpr std::string_view list_upgradeable = "pkg.list.upgradeable";
inline constexpr std::string_view list_application = "pkg.list.application";
inline constexpr std::string_view reset_initialize = "pkg.reset.initialize";
inline constexpr std::string_view reset_update = "pkg.reset.update";
}  // namespace option

/// Fixed addresses of the production and the staging store, for a client that serves all types. No
/// default is one of them.
extern const std::string_view kBootstrapUrl;
extern const std::string_view kStagingBootstrapUrl;

// The values are strings; null where a type-dependent default is asked for an unknown type.
json::value get_type(const json::object* options);
json::value get_cache_root(const json::object* options);
json::value get_install_root(const json::object* options);
json::value get_installer(const json::object* options);
json::value get_pkgs_available_name(const json::object* options);
json::value get_pkgs_installed_name(const json::object* options);
json::value get_store_bootstrap_url(const json::object* options);
json::value get_telemetry_url(const json::object* options);
// null where the key is missing counts as false. Telemetry, the proof of members that are read
// through package URLs, and the files for other tools are true where the key is missing.
json::value get_log_remote_io(const json::object* options);
json::value get_keep_references(const json::object* options);
json::value get_telemetry(const json::object* options);
json::value get_io_verify(const json::object* options);
json::value get_local_files(const json::object* options);
/// The public keys in minisign's format one of which has to have signed the store's list, see
/// framework::parse_public_keys(); null: a list needs no signature.
json::value get_store_public_key(const json::object* options);
/// The bytes that a member has at most.
json::value get_member_size_limit(const json::object* options);
/// That number. Throws JsonError for what is none from 1 on.
std::uint64_t to_size_limit(const json::value& value);
/// An array of identities that no uninstall takes; null: none.
json::value get_uninstall_keep(const json::object* options);

void set_type(json::object& options, std::string_view type);
/// The bool setters take null (stored as false) or a bool; anything else throws JsonError
/// "Cannot convert JSON value to bool!" and leaves the option set unchanged.
void set_log_remote_io(json::object& options, const json::value& value);
void set_keep_references(json::object& options, const json::value& value);
void set_uninstall_keep(json::object& options, const std::vector<std::string>& identities);
/// With no option set the value becomes the installer of the default settings, if they exist.
void set_installer(json::object* options, const json::value& value);

/// The full path of the manager program of a type; empty for an unknown type.
std::string manager_executable(std::string_view type);

/// The maker's folder below the application data of all users; empty where that is not known.
std::string base_folder();

/// The process-wide defaults. Created once by start-up, before any other thread; afterwards read
/// only, but for set_installer during start-up.
void create_default_settings();
void destroy_default_settings();

/// Whether a program at this full path talks to the staging store.
bool is_staging(std::string_view executable_path);
/// The same of the running program.
bool is_staging();

}  // namespace zendro::app
