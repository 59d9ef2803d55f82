// What a program writes: results to the standard output, everything else to the standard error.
// With JSON all of it is on the standard output, an object a line; docs/cli.md tells which.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "framework/text/json.h"
#include "msg/message.h"
#include "pkg/progress.h"

#include "console/progress_bar.h"
#include "console/terminal.h"

namespace zendro::console {

namespace json = boost::json;

/// How the user wants it.
struct OutputStyle {
  bool json = false;
  bool quiet = false;
  bool verbose = false;
};

/// Thread-safe. Texts are UTF-8; an identifier, where there is one, names a text in JSON.
class Output {
 public:
  explicit Output(const OutputStyle& style);

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
  void error(std::string_view text, std::string_view identifier = {});
  void warning(std::string_view text, std::string_view identifier = {});
  /// What happens, for whoever has not asked for quiet.
  void note(std::string_view text, std::string_view identifier = {});
  void log(std::string_view line);
  void progress(const pkg::progress_t& progress);
  /// Asks on the terminal; the answer is read elsewhere.
  void ask(std::string_view question);

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

}  // namespace zendro::console
