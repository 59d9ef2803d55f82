#include "framework/system/files.h"

#include <algorithm>
#include <utility>

#include "framework/system/file_stream.h"
#include "framework/system/files_internal.h"
#include "framework/system/system_file.h"
#include "framework/text/ascii.h"
#include "framework/text/percent.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

bool has_prefix(std::string_view text, std::string_view prefix) {
  return equal_ignoring_case(text.substr(0, prefix.size()), prefix);
}

}  // namespace

std::shared_ptr<IOImpl_base> open_file(const fs::path& path, IoError& error) {
  SystemFile file = SystemFile::open(path, OpenHow::read, error);
  if (!file) return nullptr;
  return make_file_stream(std::move(file), FileAccess::read, path_to_utf8(path));
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
  if (file.replace_contents(bytes)) return WriteOutcome::written;
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

std::string file_url(const fs::path& path) {
  std::string text = path_to_utf8(path);
  std::replace(text.begin(), text.end(), kPathSeparator, '/');
  // What begins with two slashes names its host, one slash this machine, none a drive.
  std::string url = text.starts_with("//")  ? "file:"
                    : text.starts_with('/') ? "file://"
                                            : "file:///";
  append_encoded_path(url, text);
  return url;
}

}  // namespace zendro::framework
