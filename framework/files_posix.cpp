#include <cstdlib>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
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

// Makes room for the first `size` bytes of a file without changing its contents or its length;
// false, with the cause in errno, where there is none.
bool reserve(int file, std::size_t size) {
  // The kernel checks the limit on the size of files only when a reservation changes the length.
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && size > limit.rlim_cur) {
    errno = EFBIG;
    return false;
  }
  struct stat status {};
  if (fstat(file, &status) != 0) return false;
  if (size == 0 || retry_interrupted([&] {
                     return fallocate(file, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size));
                   }) == 0) {
    return true;
  }
  const int code = errno;
  // Not every file system can reserve space.
  if (code != ENOSPC && code != EDQUOT && code != EFBIG) return true;
  // What could be reserved lies behind the end of the file and is given back.
  static_cast<void>(retry_interrupted([&] { return ftruncate(file, status.st_size); }));
  errno = code;
  return false;
}

bool replace_contents(int file, std::string_view bytes) {
  return reserve(file, bytes.size()) && write_all(file, bytes) &&
         retry_interrupted([&] { return ftruncate(file, static_cast<off_t>(bytes.size())); }) ==
             0 &&
         retry_interrupted([&] { return fsync(file); }) == 0;
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

WriteOutcome write_file(const fs::path& path, std::string_view bytes, IoError& error) {
  const std::string& label = path.native();
  IoError ignored;
  Descriptor file = open_regular(AT_FDCWD, label, O_WRONLY | O_CREAT | O_EXCL, label, ignored);
  const bool created = static_cast<bool>(file);
  if (!created) file = open_regular(AT_FDCWD, label, O_WRONLY | O_CREAT, label, error);
  if (!file) return WriteOutcome::not_opened;
  // Some file systems tell only at the closing that an earlier write was lost.
  if (replace_contents(file.get(), bytes) && file.close()) return WriteOutcome::written;
  error = system_error(label, errno);
  if (created) unlink(label.c_str());
  return WriteOutcome::not_written;
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
  // A relative path counts for nothing (XDG Base Directory, section "Environment variables").
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
