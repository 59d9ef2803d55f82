// How far an operation is, for whoever shows it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string_view>

#include "framework/http/http.h"

namespace zendro::pkg {

struct progress_t {
  std::uint64_t members_done = 0;
  std::uint64_t members = 0;     ///< of all packages of the operation; 0: none are provided
  std::uint64_t bytes_done = 0;  ///< of the transfer under way; 0 between two
  std::optional<std::uint64_t> bytes = {};  ///< its size, where that is told
};

/// Called on the thread of the operation, often; it must be quick.
using progress_sink = std::function<void(const progress_t&)>;

/// The cause of whatever fails because the operation is to end early.
inline constexpr std::string_view kStopped = "Stopped on request.";

/// Keeps the count of one operation. Without a sink it does nothing.
class progress_reporter {
 public:
  /// Reading an answer fails once `stop` is requested.
  explicit progress_reporter(progress_sink sink, std::stop_token stop = {})
      : sink_(std::move(sink)), stop_(std::move(stop)) {}

  /// From now on this many members are to be proved, downloaded or copied.
  void begin(std::uint64_t members);
  void member_done();

  /// The transfer of so many bytes begins; a negative size is not known.
  void begin_transfer(std::int64_t size);
  /// So many more bytes of it are there; with a count that is not positive it has ended.
  void transferred(std::int64_t count);

  /// The same answer, whose reading is reported as a transfer.
  std::shared_ptr<framework::HttpResponse> watch(std::shared_ptr<framework::HttpResponse> response);

 private:
  class watched_response;
  void end_transfer();
  void tell() const;

  progress_sink sink_;
  std::stop_token stop_;
  progress_t progress_;
};

}  // namespace zendro::pkg
