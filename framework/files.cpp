#include "framework/files.h"

#include "framework/file_stream.h"
#include "framework/percent.h"
#include "framework/system_file.h"
#include "framework/system_files.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

std::shared_ptr<IOImpl_base> open_stream(const fs::path& path, OpenHow how, IoError& error) {
  SystemFile file = SystemFile::open(path, how, error);
  if (!file) return nullptr;
  const FileAccess access = how == OpenHow::read ? FileAccess::read : FileAccess::write;
  return make_file_stream(std::move(file), access, path_to_utf8(path));
}

bool replace_contents(SystemFile& file, std::string_view bytes) {
  return file.reserve(bytes.size()) && file.write(bytes) && file.set_length(bytes.size()) &&
         file.flush();
}

// Spreads a value over all 64 bits (the finaliser of SplitMix64).
std::uint64_t mixed(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15U;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
  return value ^ (value >> 31);
}

// Whether `text` begins with `lower_prefix`, letters of ASCII without regard to case.
bool has_prefix(std::string_view text, std::string_view lower_prefix) {
  if (text.size() < lower_prefix.size()) return false;
  for (std::size_t i = 0; i < lower_prefix.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lower_prefix[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::shared_ptr<IOImpl_base> open_file(const fs::path& path, IoError& error) {
  return open_stream(path, OpenHow::read, error);
}

std::shared_ptr<IOImpl_base> create_file(const fs::path& path, IoError& error) {
  // Truncated only once it is known to be a regular file.
  SystemFile file = SystemFile::open(path, OpenHow::write, error);
  if (!file) return nullptr;
  if (!file.set_length(0)) {
    error.text = path_to_utf8(path) + ": " + file.cause();
    return nullptr;
  }
  return make_file_stream(std::move(file), FileAccess::write, path_to_utf8(path));
}

std::shared_ptr<IOImpl_base> append_file(const fs::path& path, IoError& error) {
  return open_stream(path, OpenHow::append, error);
}

bool read_file(const fs::path& path, std::string& out, std::uint64_t limit, IoError& error) {
  out.clear();
  const auto stream = open_file(path, error);
  return stream && read_all(*stream, out, 0, limit, error, path_to_utf8(path));
}

WriteOutcome write_file(const fs::path& path, std::string_view bytes, IoError& error) {
  IoError ignored;
  SystemFile file = SystemFile::open(path, OpenHow::write_new, ignored);
  const bool created = static_cast<bool>(file);
  if (!created) file = SystemFile::open(path, OpenHow::write, error);
  if (!file) return WriteOutcome::not_opened;
  if (replace_contents(file, bytes) && file.close()) return WriteOutcome::written;
  error.text = path_to_utf8(path) + ": " + file.cause();
  file.close();  // what is open cannot be removed everywhere
  if (created) SystemFile::remove(path);
  return WriteOutcome::not_written;
}

bool create_folders(const fs::path& path, IoError& error) {
  if (path.empty()) return true;
  const std::string cause = make_folders(path);
  if (cause.empty()) return true;
  error.text = path_to_utf8(path) + ": " + cause;
  return false;
}

std::uint64_t file_stamp(const fs::path& path) {
  const std::vector<std::uint64_t> values = stamp_values(path);
  if (values.empty()) return 0;
  std::uint64_t stamp = 0;
  for (const std::uint64_t value : values) stamp = mixed(stamp ^ value);
  return stamp == 0 ? 1 : stamp;
}

fs::path path_from_file_url(std::string_view url) {
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
  return url.starts_with('/') ? path_from_url_path(percent_decode(url)) : fs::path();
}

}  // namespace zendro::framework
