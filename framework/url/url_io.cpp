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
std::shared_ptr<IOImpl_base> unpacked(IOImpl_base& stream, std::string_view label, IoError& error) {
  auto bytes = std::make_shared<std::string>();
  if (!read_all(stream, *bytes, 0, kMaxNestedArchive, error, label)) return nullptr;
  return make_memory_stream(std::move(bytes), std::string(label));
}

std::shared_ptr<IOImpl_base> fail(std::string_view url, std::string_view cause, IoError& error) {
  error.text = std::string(url) + ": " + std::string(cause);
  return nullptr;
}

// Opens a URL that is no member of an archive and that no callback knows.
std::shared_ptr<IOImpl_base> open_plain(std::string_view url, const std::string& scheme,
                                        IoError& error) {
  if (scheme == "memory") return open_memory_file(url, error);
  if (scheme == "file") {
    const auto path = path_from_file_url(url);
    return path.empty() ? fail(url, "names no file of this machine", error)
                        : open_file(path, error);
  }
  if (scheme.empty()) return open_file(path_from_utf8(url), error);
  if (scheme == "http" || scheme == "https") return fail(url, "is not a local file", error);
  return fail(url, "nothing can open URLs of the scheme '" + scheme + "'", error);
}

std::shared_ptr<IOImpl_base> open_any(std::string_view url, IoError& error) {
  const std::string scheme = lower_case_scheme(url);
  const bool own_scheme = scheme.empty() || scheme == "file" || scheme == "memory";
  const auto callback = own_scheme ? nullptr : io_callback();
  // A callback may know members of its own archives, so it sees the URL before it is taken apart.
  std::string_view base = url;
  std::shared_ptr<IOImpl_base> stream;
  for (int depth = 0;; ++depth) {
    if (callback && (stream = callback->create(base))) {
      if (stream->open(base)) break;
      if (!stream->error()) return fail(base, "cannot be opened", error);
      error = stream->error();
      return nullptr;
    }
    const std::size_t separator = base.rfind(kZipSeparator);
    if (separator == std::string_view::npos) {
      stream = open_plain(base, scheme, error);
      break;
    }
    if (depth == kMaxArchiveDepth) return fail(url, kTooDeep, error);
    base = base.substr(0, separator);
  }
  if (!stream || base.size() == url.size()) return stream;
  if (base.find(kZipSeparator) != std::string_view::npos) {
    stream = unpacked(*stream, base, error);
    if (!stream) return nullptr;
  }
  return open_archive_path(std::move(stream), url.substr(base.size() + kZipSeparator.size()), base,
                           error);
}

}  // namespace

std::shared_ptr<IoCallback> set_io_callback(std::shared_ptr<IoCallback> callback) {
  const std::lock_guard lock(callback_mutex);
  return std::exchange(current_callback, std::move(callback));
}

std::shared_ptr<IOImpl_base> open_url(std::string_view url, IoError& error) {
  try {
    return open_any(url, error);
  } catch (const std::exception& failure) {  // of a callback, or no memory left
    return fail(url, exception_text(failure), error);
  }
}

std::shared_ptr<IOImpl_base> open_archive_path(std::shared_ptr<IOImpl_base> archive,
                                               std::string_view path_inside, std::string_view label,
                                               IoError& error) {
  std::string name(label);
  for (int depth = 1;; ++depth) {
    const std::size_t end = path_inside.find(kZipSeparator);
    const std::string_view member_name = path_inside.substr(0, end);
    auto member = open_zip_member(std::move(archive), member_name, name, error);
    if (!member || end == std::string_view::npos) return member;
    name.append(kZipSeparator).append(member_name);
    if (depth == kMaxArchiveDepth) return fail(name, kTooDeep, error);
    archive = unpacked(*member, name, error);
    if (!archive) return nullptr;
    path_inside.remove_prefix(end + kZipSeparator.size());
  }
}

}  // namespace zendro::framework
