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

OpenedStream open_file(const fs::path& path) {
  Result<SystemFile> file = SystemFile::open(path, OpenHow::read);
  if (!file) return tl::unexpected(file.error());
  return make_file_stream(std::move(*file), FileAccess::read, path_to_utf8(path));
}

OpenedStream create_file(const fs::path& path) {
  // Truncated only once it is known to be a regular file.
  Result<SystemFile> file = SystemFile::open(path, OpenHow::write);
  if (!file) return tl::unexpected(file.error());
  if (!file->set_length(0)) {
    return tl::unexpected(IoError{path_to_utf8(path) + ": " + file->cause()});
  }
  return make_file_stream(std::move(*file), FileAccess::write, path_to_utf8(path));
}

Result<std::string> read_file(const fs::path& path, std::uint64_t limit) {
  const OpenedStream stream = open_file(path);
  if (!stream) return tl::unexpected(stream.error());
  return read_all(**stream, 0, limit, path_to_utf8(path));
}

WriteResult write_file(const fs::path& path, std::string_view bytes) {
  Result<SystemFile> file = SystemFile::open(path, OpenHow::write_new);
  const bool created = file.has_value();
  if (!created) file = SystemFile::open(path, OpenHow::write);
  if (!file) return tl::unexpected(WriteError{file.error(), false});
  if (file->replace_contents(bytes)) return {};
  WriteError error{{path_to_utf8(path) + ": " + file->cause()}, true};
  file->close();  // what is open cannot be removed everywhere
  if (created) SystemFile::remove(path);
  return tl::unexpected(std::move(error));
}

Result<void> create_folders(const fs::path& path) {
  if (path.empty()) return {};
  const std::string cause = make_folders(path);
  if (cause.empty()) return {};
  return tl::unexpected(IoError{path_to_utf8(path) + ": " + cause});
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
