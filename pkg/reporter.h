// Where an operation records what went wrong.
#pragma once

#include <mutex>

#include "framework/io/io.h"
#include "msg/message.h"

namespace zendro::pkg {

/// One per operation. Counts what is recorded and hands it on to the sink, if there is one, so that
/// nothing depends on the sink's presence. Thread-safe.
class message_reporter {
 public:
  /// `sink` may be empty.
  explicit message_reporter(msg::MessageSink sink) : sink_(std::move(sink)) {}

  void report(const msg::Message& message);
  /// Records a failure of the I/O layer as an error; an error without a text records nothing.
  void report(const framework::IoError& error);

  /// Whether an error or a fatal error is recorded. Warnings do not count.
  [[nodiscard]] bool has_errors() const;

 private:
  mutable std::mutex mutex_;
  msg::MessageSink sink_;
  int errors_ = 0;
  int fatal_errors_ = 0;
};

}  // namespace zendro::pkg
