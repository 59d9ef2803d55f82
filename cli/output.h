// What the program writes: results to the standard output, everything else to the standard error.
// With JSON all of it is on the standard output, an object a line; docs/cli.md tells which.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "framework/text/json.h"
#include "msg/message.h"
#include "pkg/progress.h"

#include "cli/arguments.h"
#include "cli/cli_messages.h"
#include "cli/progress_bar.h"
#include "cli/terminal.h"

namespace zendro::cli {

namespace json = boost::json;

/// Thread-safe.
class Output {
 public:
  explicit Output(const Arguments& arguments);

  [[nodiscard]] bool is_json() const { return is_json_; }
  /// In characters; 0: as wide as it comes.
  [[nodiscard]] std::size_t width() const { return width_; }

  /// A line of the result; not with JSON.
  void line(std::string_view text);
  /// The same, for a heading.
  void heading(std::string_view text);
  /// Bytes of the result, as they are.
  void bytes(const char* data, std::size_t size);
  /// A member of the object that ends the run; only with JSON.
  void result(std::string_view name, json::value value);
  /// An object of its own; only with JSON.
  void event(std::string_view name, const json::object& members);

  void message(const msg::Message& message);
  void error(Text text, const msg::Arguments& arguments = {});
  /// What happens, for whoever has not asked for quiet.
  void note(Text text, const msg::Arguments& arguments = {});
  void log(std::string_view line);
  void progress(const pkg::progress_t& progress);
  /// Asks on the terminal; the answer is read elsewhere.
  void ask(Text question);

  /// Ends the run with this status, or with a failure where the output has not been written.
  int end(int status);

 private:
  void message(std::string_view severity, std::string_view identifier, std::string_view text);
  void write(Stream stream, std::string text);
  void write_event(std::string_view name, const json::object& members);

  const bool is_json_;
  const bool is_quiet_;
  const bool is_verbose_;
  const std::size_t width_;
  const bool has_colours_;
  const bool has_error_colours_;
  std::mutex mutex_;
  ProgressBar bar_;
  json::object result_;
};

}  // namespace zendro::cli
