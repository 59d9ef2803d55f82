#include "pkg/reporter.h"

#include "msg/shown.h"

namespace zendro::pkg {

void message_reporter::report(const msg::Message& message) {
  const std::lock_guard lock(mutex_);
  errors_ += message.severity == msg::Severity::error ? 1 : 0;
  fatal_errors_ += message.severity == msg::Severity::fatal ? 1 : 0;
  if (sink_) sink_(message);
}

void message_reporter::report(const framework::IoError& error) {
  if (!error) return;
  report(msg::Message{{}, {}, msg::Severity::error, msg::shown(error.text)});
}

bool message_reporter::has_errors() const {
  const std::lock_guard lock(mutex_);
  return errors_ != 0 || fatal_errors_ != 0;
}

}  // namespace zendro::pkg
