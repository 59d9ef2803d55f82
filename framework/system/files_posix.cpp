#include <cerrno>
#include <system_error>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "framework/system/files.h"
#include "framework/system/files_internal.h"
#include "framework/system/this_process.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

// The system would take the part before a NUL for the whole path.
bool holds_nul(const fs::path& path) { return path.native().find('\0') != std::string::npos; }

fs::path home_folder() {
  if (const std::string home = environment_value("HOME"); !home.empty()) return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  return found == nullptr || found->pw_dir == nullptr ? fs::path() : fs::path(found->pw_dir);
}

}  // namespace

fs::path path_from_utf8(std::string_view text) { return fs::path(text); }

std::string path_to_utf8(const fs::path& path) { return path.native(); }

std::string comparable_name(std::string_view name) { return std::string(name); }

fs::path resolved_path(const fs::path& path) {
  std::error_code failed;
  const fs::path resolved = fs::weakly_canonical(path, failed);
  return failed ? path.lexically_normal() : resolved;
}

std::string make_folders(const fs::path& path) {
  std::error_code code = std::make_error_code(std::errc::invalid_argument);
  if (!holds_nul(path)) {
    fs::create_directories(path, code);
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) return {};
    if (!code) code = std::make_error_code(std::errc::not_a_directory);
  }
  return code.message();
}

bool file_exists(const fs::path& path) {
  std::error_code ignored;
  return !holds_nul(path) && fs::is_regular_file(path, ignored);
}

bool is_missing(const fs::path& path) {
  std::error_code ignored;
  return fs::status(path, ignored).type() == fs::file_type::not_found;
}

fs::path executable_path() {
  std::error_code code;
  const fs::path path = fs::read_symlink("/proc/self/exe", code);
  return code ? fs::path() : path;
}

fs::path common_appdata_folder() {
  if (const std::string folder = environment_value("ZENDRO_COMMON_APPDATA"); !folder.empty()) {
    return folder;
  }
  if (geteuid() == 0) return "/var/lib";
  // A relative path counts for nothing (XDG Base Directory, section "Environment variables").
  if (fs::path folder = environment_value("XDG_DATA_HOME"); folder.is_absolute()) return folder;
  const fs::path home = home_folder();
  return home.empty() ? fs::path() : home / ".local" / "share";
}

fs::path path_from_url_path(std::string_view path) { return path_from_utf8(path); }

}  // namespace zendro::framework
