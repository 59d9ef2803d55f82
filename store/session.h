// One run of the program: its arguments, its output, and whether it is asked to end.
#pragma once

#include <stop_token>

#include "framework/io/io.h"

#include "console/interrupts.h"
#include "console/output.h"
#include "store/arguments.h"

namespace zendro::store {

class Session {
 public:
  explicit Session(const Arguments& arguments);

  [[nodiscard]] const Arguments& arguments() const { return arguments_; }
  [[nodiscard]] console::Output& output() { return output_; }
  /// Asked to stop by the first Ctrl+C; a second one ends the process.
  [[nodiscard]] std::stop_token stop_token() const { return stop_.get_token(); }

  /// Says why the command failed, and returns its exit status.
  int fail(const framework::IoError& error);

 private:
  const Arguments& arguments_;
  console::Output output_;
  std::stop_source stop_;
  console::Interrupts interrupts_;
};

}  // namespace zendro::store
