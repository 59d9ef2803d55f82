// The I/O interface through which every byte stream of the program is read or written.
//
// A stream is one open file, archive member, memory buffer or HTTP answer. Streams are owned by
// shared pointers and used by one thread at a time. Failures are values, not exceptions: an
// operation that fails returns -1 or false and leaves its cause in error().
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace zendro::framework {

/// Why an I/O operation failed; an empty text means that no error has been recorded.
struct IoError {
  std::string text;  ///< "<URL or path>: <cause>", UTF-8
  explicit operator bool() const { return !text.empty(); }
};

/// What an operation came to: its value, or why it failed. The error always has a text.
template <typename Value>
using Result = tl::expected<Value, IoError>;

/// Where a reposition counts from.
enum class SeekOrigin { begin, current, end };

class IOImpl_base : public std::enable_shared_from_this<IOImpl_base> {
 public:
  IOImpl_base() = default;
  IOImpl_base(const IOImpl_base&) = delete;
  IOImpl_base& operator=(const IOImpl_base&) = delete;
  virtual ~IOImpl_base() = default;

  /// The first failure of this stream.
  [[nodiscard]] virtual const IoError& error() const = 0;
  /// Opens the stream on a URL or path for reading; false on failure.
  virtual bool open(std::string_view url) = 0;
  /// Closes the stream; for a written file a failed close is a failed write (see error()).
  virtual void close() = 0;
  /// Hands buffered bytes to the operating system's storage.
  virtual void flush() = 0;
  /// Reads up to `size` bytes: their count, 0 at the end, -1 on failure.
  virtual std::int64_t read(void* buffer, std::size_t size) = 0;
  /// Writes all of `size` bytes: `size`, or -1 on failure.
  virtual std::int64_t write(const void* buffer, std::size_t size) = 0;
  /// Moves the position: the new position from the beginning, or -1 on failure.
  virtual std::int64_t seek(std::int64_t offset, SeekOrigin origin) = 0;
  /// The number of bytes of the whole stream; -1 where it is not known.
  [[nodiscard]] virtual std::int64_t size() = 0;
  /// Whether the position can be moved.
  [[nodiscard]] virtual bool seekable() = 0;
};

/// A stream that was opened, never null.
using OpenedStream = Result<std::shared_ptr<IOImpl_base>>;

/// Bytes read and copied at a time.
inline constexpr std::size_t kIoBlock = 65536;

/// Reads `stream` to its end, into a text whose capacity starts at the size of the stream where
/// that is known, else at `initial_capacity` bytes. It fails when reading does or more than `limit`
/// bytes arrive; `label` names the stream in the text of the latter.
Result<std::string> read_all(IOImpl_base& stream, std::size_t initial_capacity, std::uint64_t limit,
                             std::string_view label = {});

}  // namespace zendro::framework
