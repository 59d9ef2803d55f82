// The state of one HTTP transfer apart from the library that moves its bytes: the answer's headers,
// the bytes that wait to be read, and the clock that finds it standing still. One thread at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "framework/http/http.h"
#include "framework/io/io.h"

namespace zendro::framework {

/// What a failed request to `url` reports.
IoError failure_of(std::string_view url, std::string_view cause);

/// Why an encoding that such a header names is refused, as none is asked for; empty: it is not.
std::string refused_encoding(const HttpHeaders& headers, std::string_view header,
                             std::initializer_list<std::string_view> accepted);

/// Tells when a transfer moves too little content for too long. Only time in which the peer is
/// waited for counts, so that whoever reads the answer may take any time.
class StallClock {
 public:
  explicit StallClock(const TransportSettings& settings);

  /// Adds a time that was spent waiting for the peer, at whose end `bytes` had been moved in all.
  void add(std::chrono::nanoseconds time, std::uint64_t bytes);
  [[nodiscard]] bool stalled() const { return slow_ >= limit_; }

 private:
  std::chrono::nanoseconds limit_;
  double speed_;
  std::chrono::nanoseconds sample_{0};  ///< spent since the speed was looked at
  std::chrono::nanoseconds slow_{0};    ///< spent without a break in slowness
  std::uint64_t bytes_ = 0;             ///< moved when the speed was looked at
};

/// The bytes of a body between their arrival and their reading. What arrives while somebody waits
/// for it goes straight to where it is wanted.
class BodyBuffer {
 public:
  [[nodiscard]] bool empty() const { return begin_ == end_; }
  [[nodiscard]] std::size_t size() const { return end_ - begin_; }
  /// Forgets its bytes, and what was lent.
  void clear();
  /// Takes in all of `size` bytes, or none where there is no room for them.
  bool append(const char* bytes, std::size_t size);
  /// The same, and makes room. Throws std::bad_alloc.
  void append_all(const char* bytes, std::size_t size);
  /// Lets what is appended go to `out`, as far as it fits in there, until withdraw(). Only where
  /// this is empty.
  void lend(std::span<char> out) { lent_ = out; }
  /// How many bytes still fit into what was lent.
  [[nodiscard]] std::size_t lent() const { return lent_.size(); }
  void withdraw() { lent_ = {}; }
  /// Moves up to `size` bytes to `out`: their count.
  std::size_t take(void* out, std::size_t size);

 private:
  // As much as libcurl hands over at a time, so that a transfer is seldom paused for lack of room.
  // What it is paused with libcurl keeps: no more than as much again.
  std::vector<char> bytes_ = std::vector<char>(kIoBlock);
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::span<char> lent_;
};

/// One request to one URL and what has come of it.
class Transfer {
 public:
  Transfer(std::string request_url, const TransportSettings& settings)
      : url(std::move(request_url)), stall(settings) {}
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  /// Takes in one line of a header section, whose first one is its status line. An empty one ends
  /// it; false, with the cause, for a section that is refused.
  bool note_header(std::string_view bytes);

  const std::string url;
  HttpHeaders headers;
  std::uint64_t header_bytes = 0;
  std::uint64_t body_bytes = 0;
  std::uint64_t delivered = 0;  ///< bytes of the body that were read
  std::uint64_t content = 0;    ///< bytes of body and of headers before it
  StallClock stall;
  bool connected = false;
  bool answered = false;             ///< the headers of the final answer are complete
  bool unwanted = false;             ///< the body is thrown away
  std::uint64_t unwanted_limit = 0;  ///< length of the body at which it is broken off then
  bool is_shared = false;            ///< the connection, by others (HTTP/2)
  bool is_ahead = false;             ///< nobody reads the answer yet
  bool paused = false;               ///< bytes are held back until there is room for them
  std::chrono::steady_clock::time_point paused_since;
  bool over = false;     ///< nothing more will arrive
  bool is_lost = false;  ///< with its connection, or for the sake of others that share it
  std::string cause;     ///< why it ended before its time; empty: it did not

 private:
  [[nodiscard]] bool refuse(std::string why);

  HttpHeaders::iterator last_header_ = headers.end();
  bool in_section_ = false;
  std::size_t header_lines_ = 0;
};

}  // namespace zendro::framework
