// Opening byte streams by URL.
//
// Understood are paths (taken as they are) and file: URLs (percent-decoded), in-memory files below
// "memory://localhost/", members of zip archives ("<archive path or URL>%7Czip/<member name>", up
// to 8 archives inside each other, of which the inner ones are unpacked into memory and may have
// 256 MiB), and whatever the current I/O callback knows. HTTP is not opened here: see http.h.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "framework/io/io.h"

namespace zendro::framework {

/// Separates the URL of a zip archive from the name of a member inside it.
inline constexpr std::string_view kZipSeparator = "%7Czip/";

/// Hook through which the program adds URL schemes of its own. Shared by all threads.
class IoCallback {
 public:
  virtual ~IoCallback() = default;
  /// A stream that is able to open `url`, not yet opened; null where the URL is none of its own.
  /// Asked for every URL with a scheme other than file and memory: first for the whole URL of an
  /// archive's member, then, after a null, for the archive's.
  virtual std::shared_ptr<IOImpl_base> create(std::string_view url) = 0;
};

/// Makes `callback` the current one (null: none) and returns the previous one. Thread-safe.
std::shared_ptr<IoCallback> set_io_callback(std::shared_ptr<IoCallback> callback);

/// Opens `url` for reading.
OpenedStream open_url(std::string_view url);

/// Opens what `path_inside` names inside an archive: "<member>" or, through archives inside it,
/// "<member>%7Czip/<member of that>" and so on, with the limits that hold for URLs. `archive` is
/// seekable and used by nobody else meanwhile; `label` names it in error texts.
OpenedStream open_archive_path(std::shared_ptr<IOImpl_base> archive, std::string_view path_inside,
                               std::string_view label);

/// A file in memory, readable through its URL for as long as the registration lives.
class MemoryFile {
 public:
  /// Registers `bytes` under `name`; they are shared, not copied. A name is in use once: a later
  /// registration of the same name gets a URL of its own.
  MemoryFile(std::string_view name, std::shared_ptr<const std::string> bytes);
  ~MemoryFile();
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  [[nodiscard]] const std::string& url() const { return url_; }

 private:
  std::string url_;
};

}  // namespace zendro::framework
