// What a loopback server answers, and the faults that it commits instead. Plain values.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zendro::loopback {

/// The proper answer to every request for a path, whatever its method.
struct Reply {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> headers;  ///< besides Content-Length
  std::shared_ptr<const std::string> body;                   ///< null: none
  std::uint64_t repeat = 1;    ///< how many times the body is sent, one after another
  std::filesystem::path file;  ///< where not empty, its bytes at the time of the request are sent

  static Reply bytes(std::string body,
                     std::vector<std::pair<std::string, std::string>> headers = {});
  static Reply from_file(std::filesystem::path file,
                         std::vector<std::pair<std::string, std::string>> headers = {});
  static Reply with_status(int status, std::string body = {});
  static Reply redirect(std::string location, int status = 302);
};

/// What happens to the answers for a path. Lasting faults end with the server, or after 30 s.
struct Fault {
  enum class Kind {
    none,      ///< the proper answer, after `delay`
    replaced,  ///< `reply` instead of the proper answer
    close,     ///< the connection is closed after `after` bytes of the body; at once without
    reset,     ///< the same, with a TCP reset
    stall,     ///< the same, but the connection stays open and silent
    dribble,   ///< the body arrives one byte per `interval`
    endless,  ///< the body is repeated, in chunks, without an end; or cut short after `after` bytes
    length,   ///< Content-Length says `after` whatever the body is; then the connection is closed
    raw,      ///< `text` is sent as it is instead of an answer; then the connection is closed
  };

  Kind kind = Kind::none;
  std::optional<std::uint64_t> after;
  std::chrono::milliseconds delay{0};
  std::chrono::milliseconds interval{0};
  Reply reply;
  std::string text;
  int times = -1;  ///< how many requests it befalls before all is well; negative: every one

  static Fault late(std::chrono::milliseconds delay);
  static Fault replaced(Reply reply);
  static Fault close(std::optional<std::uint64_t> after = {});
  static Fault reset(std::optional<std::uint64_t> after = {});
  static Fault stall(std::optional<std::uint64_t> after = {});
  static Fault dribble(std::chrono::milliseconds interval);
  static Fault endless(std::optional<std::uint64_t> after = {});
  static Fault wrong_length(std::uint64_t length);
  static Fault bad_chunks();
  static Fault raw(std::string text);

  /// The same fault for the first `count` requests only.
  [[nodiscard]] Fault first(int count) const;
};

}  // namespace zendro::loopback
