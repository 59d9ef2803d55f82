// The state of one HTTP transfer apart from the library that moves its bytes: the answer's headers,
// the bytes that wait to be read, and the clock that finds it standing still. One thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/http.h"
#include "framework/io.h"

namespace zendro::framework {

/// What a failed request to `url` reports.
IoError failure_of(std::string_view url, std::string_view cause);

/// Whether two header names are the same (RFC 9110, section 5.1).
bool same_header_name(std::string_view a, std::string_view b);

/// Tells when a transfer moves too few bytes for too long. Only time spent waiting for the peer
/// counts, so that a reader may take as long as it likes.
class StallClock {
 public:
  explicit StallClock(const TransportSettings& settings);

  /// Takes note of a wait, at whose end `bytes` had been moved altogether.
  void waited(std::chrono::nanoseconds time, std::uint64_t bytes);
  [[nodiscard]] bool stalled() const { return slow_ >= limit_; }

 private:
  std::chrono::nanoseconds limit_;
  double speed_;
  std::chrono::nanoseconds sample_{0};  ///< waited since the speed was looked at
  std::chrono::nanoseconds slow_{0};    ///< waited without a break in slowness
  std::uint64_t bytes_ = 0;             ///< moved when the speed was looked at
};

/// The bytes of a body between their arrival and their reading; of a fixed size.
class BodyBuffer {
 public:
  [[nodiscard]] bool empty() const { return begin_ == end_; }
  void clear() { begin_ = end_ = 0; }
  /// Takes in all of `size` bytes, or none where there is no room for them.
  bool append(const char* bytes, std::size_t size);
  /// Moves up to `size` bytes to `out`: their count.
  std::size_t take(void* out, std::size_t size);

 private:
  // Holds what one turn of the transfer brings, so that it is seldom paused.
  std::vector<char> bytes_ = std::vector<char>(2 * kIoBlock);
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

/// One request to one URL and what has come of it.
class Transfer {
 public:
  Transfer(std::string request_url, const TransportSettings& settings)
      : url(std::move(request_url)), stall(settings) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  /// Takes in one line of a header section. A status line begins a new one.
  void note_header(std::string_view line);

  const std::string url;
  HttpHeaders headers;
  std::uint64_t header_bytes = 0;
  std::uint64_t body_bytes = 0;
  StallClock stall;
  bool connected = false;
  bool answered = false;  ///< the headers of the final answer are complete
  bool unwanted = false;  ///< the body is thrown away
  bool paused = false;    ///< bytes are held back until there is room for them
  std::chrono::steady_clock::time_point paused_since;
  bool over = false;  ///< nothing more will arrive
  std::string cause;  ///< why it ended before its time; empty: it did not

 private:
  HttpHeaders::iterator last_header_ = headers.end();
};

}  // namespace zendro::framework
