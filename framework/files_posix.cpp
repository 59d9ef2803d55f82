#include <cstdlib>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "framework/descriptor_posix.h"
#include "framework/file_io_posix.h"
#include "framework/files.h"
#include "framework/percent.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

std::string environment_value(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

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

// Spreads a value over all 64 bits (the finaliser of SplitMix64).
std::uint64_t mixed(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

}  // namespace

std::shared_ptr<IOImpl_base> open_file(const fs::path& path, IoError& error) {
  const std::string& label = path.native();
  Descriptor file = open_regular(AT_FDCWD, label, O_RDONLY, label, error);
  return file ? make_file_stream(std::move(file), FileAccess::read, label) : nullptr;
}

std::shared_ptr<IOImpl_base> create_file(const fs::path& path, IoError& error) {
  const std::string& label = path.native();
  // Truncated only once it is known to be a regular file.
  Descriptor file = open_regular(AT_FDCWD, label, O_WRONLY | O_CREAT, label, error);
  if (!file) return nullptr;
  if (retry_interrupted([&] { return ftruncate(file.get(), 0); }) != 0) {
    error = system_error(label, errno);
    return nullptr;
  }
  return make_file_stream(std::move(file), FileAccess::write, label);
}

std::uint64_t file_stamp(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return 0;
  std::uint64_t stamp = mixed(static_cast<std::uint64_t>(status.st_mtim.tv_sec));
  stamp = mixed(stamp ^ static_cast<std::uint64_t>(status.st_mtim.tv_nsec));
  stamp = mixed(stamp ^ static_cast<std::uint64_t>(status.st_size));
  stamp = mixed(stamp ^ static_cast<std::uint64_t>(status.st_ino));
  return stamp == 0 ? 1 : stamp;
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
  // The XDG Base Directory Specification has relative paths ignored.
  if (fs::path folder = environment_value("XDG_DATA_HOME"); folder.is_absolute()) return folder;
  const fs::path home = home_folder();
  return home.empty() ? fs::path() : home / ".local" / "share";
}

fs::path path_from_file_url(std::string_view url) {
  const auto has_prefix = [](std::string_view text, std::string_view lower_prefix) {
    if (text.size() < lower_prefix.size()) return false;
    for (std::size_t i = 0; i < lower_prefix.size(); ++i) {
      const char c = text[i];
      if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lower_prefix[i]) {
        return false;
      }
    }
    return true;
  };
  constexpr std::string_view kScheme = "file:";
  constexpr std::string_view kLocalHost = "//localhost/";
  if (!has_prefix(url, kScheme)) return {};
  url.remove_prefix(kScheme.size());
  if (has_prefix(url, kLocalHost)) {
    url.remove_prefix(kLocalHost.size() - 1);
  } else if (url.starts_with("///")) {
    url.remove_prefix(2);
  } else if (url.starts_with("//")) {
    return {};
  }
  return url.starts_with('/') ? path_from_utf8(percent_decode(url)) : fs::path();
}

}  // namespace zendro::framework
