#include "framework/url_io.h"

#include <exception>
#include <mutex>
#include <utility>

#include "framework/files.h"
#include "framework/memory_stream.h"
#include "framework/zip.h"

namespace zendro::framework {
namespace {

/// Archives inside archives beyond this depth are refused.
constexpr int kMaxArchiveDepth = 8;
/// An archive inside an archive is unpacked into memory, as its directory stands at its end; this
/// is the most that it may need.
constexpr std::uint64_t kMaxNestedArchive = 256U << 20;

std::mutex callback_mutex;
std::shared_ptr<IoCallback> current_callback;

std::shared_ptr<IoCallback> io_callback() {
  const std::lock_guard lock(callback_mutex);
  return current_callback;
}

// The scheme in lower case (RFC 3986, section 3.1); empty for a path. A single letter is a drive.
std::string scheme_of(std::string_view url) {
  std::string scheme;
  for (const char c : url) {
    const bool upper = c >= 'A' && c <= 'Z';
    const bool letter = upper || (c >= 'a' && c <= 'z');
    const bool other = (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (c == ':') return scheme.size() > 1 ? scheme : std::string();
    if (!letter && (!other || scheme.empty())) break;
    scheme += upper ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return {};
}

std::shared_ptr<IOImpl_base> open_at_depth(std::string_view url, int depth, IoError& error);

std::shared_ptr<IOImpl_base> open_member_url(std::string_view url, std::size_t separator, int depth,
                                             IoError& error) {
  if (depth == kMaxArchiveDepth) {
    error.text = std::string(url) + ": is nested too deep in archives";
    return nullptr;
  }
  const std::string_view archive_url = url.substr(0, separator);
  auto archive = open_at_depth(archive_url, depth + 1, error);
  if (!archive) return nullptr;
  if (archive_url.find(kZipSeparator) != std::string_view::npos) {
    auto bytes = std::make_shared<std::string>();
    if (!read_all(*archive, *bytes, 0, kMaxNestedArchive, error, archive_url)) return nullptr;
    archive = make_memory_stream(std::move(bytes), std::string(archive_url));
  }
  return open_zip_member(std::move(archive), url.substr(separator + kZipSeparator.size()),
                         archive_url, error);
}

std::shared_ptr<IOImpl_base> open_at_depth(std::string_view url, int depth, IoError& error) {
  const auto fail = [&error, url](std::string_view cause) {
    error.text = std::string(url) + ": " + std::string(cause);
    return nullptr;
  };
  const std::string scheme = scheme_of(url);
  const bool own_scheme = scheme.empty() || scheme == "file" || scheme == "memory";
  // A callback may know members of its own archives, so it sees the URL before it is taken apart.
  if (const auto callback = own_scheme ? nullptr : io_callback()) {
    if (auto stream = callback->create(url)) {
      if (stream->open(url)) return stream;
      if (!stream->error()) return fail("cannot be opened");
      error = stream->error();
      return nullptr;
    }
  }
  const std::size_t separator = url.rfind(kZipSeparator);
  if (separator != std::string_view::npos) return open_member_url(url, separator, depth, error);
  if (scheme == "memory") return open_memory_file(url, error);
  if (scheme == "file") {
    const auto path = path_from_file_url(url);
    return path.empty() ? fail("names no file of this machine") : open_file(path, error);
  }
  if (scheme.empty()) return open_file(path_from_utf8(url), error);
  if (scheme == "http" || scheme == "https") return fail("is not a local file");
  return fail("nothing can open URLs of the scheme '" + scheme + "'");
}

}  // namespace

std::shared_ptr<IoCallback> set_io_callback(std::shared_ptr<IoCallback> callback) {
  const std::lock_guard lock(callback_mutex);
  return std::exchange(current_callback, std::move(callback));
}

std::shared_ptr<IOImpl_base> open_url(std::string_view url, IoError& error) {
  try {
    return open_at_depth(url, 0, error);
  } catch (const std::exception& failure) {  // of a callback, or no memory left
    error.text = std::string(url) + ": " + failure.what();
    return nullptr;
  }
}

}  // namespace zendro::framework
