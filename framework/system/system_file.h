// An open regular file of the operating system: what streams and the replacing of whole files are
// made of. Owns the open file; used by one thread at a time.
//
// Nothing is buffered here: what write() returned for has been handed to the system. A member that
// returns false or -1 has failed, and cause() then has the system's text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

#include "framework/io/io.h"

namespace zendro::framework {

enum class OpenHow {
  read,
  write,          ///< created when missing, contents kept
  write_new,      ///< refused where something stands
  write_private,  ///< the same; only its owner may read it (on Windows: whoever may in the folder)
  append,         ///< created when missing; what is written goes to the end
  read_write,     ///< created when missing, contents kept
};

/// Why the contents of a file were not replaced.
struct WriteError {
  IoError cause;
  bool was_opened;  ///< it could be opened for writing; what follows failed
};
using WriteResult = tl::expected<void, WriteError>;

class SystemFile {
 public:
  /// A file descriptor (POSIX) or a HANDLE (Windows).
  using Native = std::intptr_t;

  /// Opens a file by its path, links in the path included. Anything but a regular file is refused
  /// without waiting for it.
  static Result<SystemFile> open(const std::filesystem::path& path, OpenHow how);
  /// Removes a file by its path, if that is possible.
  static void remove(const std::filesystem::path& path);

  /// Takes over an open regular file.
  explicit SystemFile(Native file = kNone) : file_(file) {}
  SystemFile(SystemFile&& other) noexcept
      : file_(std::exchange(other.file_, kNone)), code_(other.code_) {}
  SystemFile& operator=(SystemFile&& other) noexcept {
    if (this != &other) {
      close();
      file_ = std::exchange(other.file_, kNone);
      code_ = other.code_;
    }
    return *this;
  }
  ~SystemFile() { close(); }

  explicit operator bool() const { return file_ != kNone; }
  [[nodiscard]] Native native() const { return file_; }
  [[nodiscard]] std::string cause() const;

  /// Some file systems tell only at the closing that an earlier write was lost.
  bool close();
  /// Reads up to `size` bytes: their count, 0 at the end.
  std::int64_t read(void* buffer, std::size_t size);
  /// Writes all of `bytes`.
  bool write(std::string_view bytes);
  /// Moves the position: the new position from the beginning.
  std::int64_t seek(std::int64_t offset, SeekOrigin origin);
  std::int64_t size();
  bool set_length(std::size_t length);
  /// Makes room for the first `size` bytes without changing contents or length; false only where
  /// there is no room. A file system that cannot reserve space is no failure.
  bool reserve(std::size_t size);
  /// Waits until all that was written is on the storage.
  bool flush();
  /// Replaces the whole contents, from the beginning of a file just opened, and closes it.
  bool replace_contents(std::string_view bytes) {
    return reserve(bytes.size()) && write(bytes) && set_length(bytes.size()) && flush() && close();
  }

 private:
  static constexpr Native kNone = -1;

  /// Records the system's last error unless the call has succeeded, which it passes on.
  bool record(bool succeeded);

  Native file_;
  int code_ = 0;
};

}  // namespace zendro::framework
