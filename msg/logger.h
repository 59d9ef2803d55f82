// The progress log: lines with time, kind and level, handed to every registered handler.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "msg/format.h"

namespace zendro::msg {

/// A time in seconds since 1970-01-01T00:00:00Z as lines have it: "2024-05-07T14:03:59", local.
std::wstring date_string(std::int64_t time);

inline constexpr int kLevelDetail = 10;
inline constexpr int kLevelProgress = 30;
/// The kind of every line of the package core.
inline constexpr std::wstring_view kLogKind = L"PKG";
/// What stands in front of every line.
inline constexpr std::wstring_view kPrefixFormat = L"{datestring} {logkind} ";

class LogHandler {
 public:
  virtual ~LogHandler() = default;
  /// Receives one finished line as shown() shows it, without a line end. Runs on the logging
  /// thread. `time` is in seconds since 1970-01-01T00:00:00Z.
  virtual void handle_line(std::int64_t time, std::wstring_view kind, std::wstring_view line) = 0;
};

/// Thread-safe. Shared between whoever logs.
class Logger {
 public:
  /// Lines whose level is below `threshold` are dropped; the default shows all levels.
  explicit Logger(std::wstring prefix_format = std::wstring(kPrefixFormat), int threshold = 0);

  void add_handler(std::shared_ptr<LogHandler> handler);
  void remove_handler(const LogHandler* handler);

  /// Hands a line to the handlers in the order in which they were added. A handler that is removed
  /// meanwhile stays valid until its call returns. False when the line was dropped: its level is
  /// below the threshold, or there is no handler.
  bool log(std::wstring_view kind, std::wstring_view text, int level);
  /// Logs the message `code` of the table with its named arguments.
  bool log_message(std::wstring_view kind, int code, const Arguments& arguments, int level);
  /// Logs the message `code` of the table with up to five values filled in as "arg1" to "arg5".
  bool log(std::wstring_view kind, int code, const std::vector<std::wstring>& values, int level);

 private:
  using Handlers = std::vector<std::shared_ptr<LogHandler>>;
  [[nodiscard]] Handlers handlers_for(int level) const;
  void deliver(const Handlers& handlers, std::wstring_view kind, std::wstring_view text) const;

  const std::wstring prefix_format_;
  const int threshold_;
  mutable std::mutex mutex_;
  Handlers handlers_;
};

}  // namespace zendro::msg
