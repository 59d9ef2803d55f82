#include "framework/url/url_io.h"

#include <exception>
#include <mutex>
#include <utility>

#include "framework/system/files.h"
#include "framework/system/system_error.h"
#include "framework/text/ascii.h"
#include "framework/text/url_parts.h"
#include "framework/url/memory_stream.h"
#include "framework/url/zip.h"

namespace zendro::framework {
namespace {

/// Archives inside archives beyond this depth are refused.
constexpr int kMaxArchiveDepth = 8;
constexpr std::string_view kTooDeep = "is nested too deep in archives";
/// An archive inside an archive is unpacked into memory, as its directory stands at its end; this
/// is the most that it may need.
constexpr std::uint64_t kMaxNestedArchive = 256U << 20;

std::mutex callback_mutex;
std::shared_ptr<IoCallback> current_callback;

std::shared_ptr<IoCallback> io_callback() {
  const std::lock_guard lock(callback_mutex);
  return current_callback;
}

// The scheme in lower case; empty for a path. A single letter is a drive.
std::string lower_case_scheme(std::string_view url) {
  const std::string_view scheme = url_scheme(url);
  return scheme.size() > 1 ? ascii_lower(scheme) : std::string();
}

// The bytes of `stream` as a stream in memory.
OpenedStream unpacked(IOImpl_base& stream, std::string_view label) {
  return read_all(stream, 0, kMaxNestedArchive, label).map([label](std::string&& bytes) {
    return make_memory_stream(std::make_shared<std::string>(std::move(bytes)), std::string(label));
  });
}

tl::unexpected<IoError> failure(std::string_view url, std::string_view cause) {
  return tl::unexpected(IoError{std::string(url) + ": " + std::string(cause)});
}

// Opens a URL that is no member of an archive and that no callback knows.
OpenedStream open_plain(std::string_view url, const std::string& scheme) {
  if (scheme == "memory") return open_memory_file(url);
  if (scheme == "file") {
    const auto path = path_from_file_url(url);
    return path.empty() ? failure(url, "names no file of this machine") : open_file(path);
  }
  if (scheme.empty()) return open_file(path_from_utf8(url));
  if (scheme == "http" || scheme == "https") return failure(url, "is not a local file");
  return failure(url, "nothing can open URLs of the scheme '" + scheme + "'");
}

// Opens a stream that a callback has made for a URL.
OpenedStream open_made(std::shared_ptr<IOImpl_base> stream, std::string_view url) {
  if (stream->open(url)) return stream;
  return stream->error() ? tl::unexpected(stream->error()) : failure(url, "cannot be opened");
}

OpenedStream open_any(std::string_view url) {
  const std::string scheme = lower_case_scheme(url);
  const bool own_scheme = scheme.empty() || scheme == "file" || scheme == "memory";
  const auto callback = own_scheme ? nullptr : io_callback();
  // A callback may know members of its own archives, so it sees the URL before it is taken apart.
  std::string_view base = url;
  OpenedStream stream;
  for (int depth = 0;; ++depth) {
    if (auto made = callback ? callback->create(base) : nullptr) {
      stream = open_made(std::move(made), base);
      break;
    }
    const std::size_t separator = base.rfind(kZipSeparator);
    if (separator == std::string_view::npos) {
      stream = open_plain(base, scheme);
      break;
    }
    if (depth == kMaxArchiveDepth) return failure(url, kTooDeep);
    base = base.substr(0, separator);
  }
  if (!stream || base.size() == url.size()) return stream;
  if (base.find(kZipSeparator) != std::string_view::npos) stream = unpacked(**stream, base);
  if (!stream) return stream;
  return open_archive_path(std::move(*stream), url.substr(base.size() + kZipSeparator.size()),
                           base);
}

}  // namespace

std::shared_ptr<IoCallback> set_io_callback(std::shared_ptr<IoCallback> callback) {
  const std::lock_guard lock(callback_mutex);
  return std::exchange(current_callback, std::move(callback));
}

OpenedStream open_url(std::string_view url) {
  try {
    return open_any(url);
  } catch (const std::exception& thrown) {  // of a callback, or no memory left
    return failure(url, exception_text(thrown));
  }
}

OpenedStream open_archive_path(std::shared_ptr<IOImpl_base> archive, std::string_view path_inside,
                               std::string_view label) {
  std::string name(label);
  for (int depth = 1;; ++depth) {
    const std::size_t end = path_inside.find(kZipSeparator);
    const std::string_view member_name = path_inside.substr(0, end);
    OpenedStream member = open_zip_member(std::move(archive), member_name, name);
    if (!member || end == std::string_view::npos) return member;
    name.append(kZipSeparator).append(member_name);
    if (depth == kMaxArchiveDepth) return failure(name, kTooDeep);
    OpenedStream inner = unpacked(**member, name);
    if (!inner) return inner;
    archive = std::move(*inner);
    path_inside.remove_prefix(end + kZipSeparator.size());
  }
}

}  // namespace zendro::framework
