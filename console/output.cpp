#include "console/output.h"

#include <cstdio>

#include "framework/text/utf8.h"

#include "console/exit_status.h"
#include "console/terminal.h"

namespace zendro::console {
namespace {

constexpr std::string_view kError = "error: ";
constexpr std::string_view kWarning = "warning: ";

constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kRed = "\x1b[31m";
constexpr std::string_view kYellow = "\x1b[33m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string coloured(std::string_view text, std::string_view colour, bool has_colours) {
  std::string result(text);
  if (has_colours) result.insert(0, colour).append(kPlain);
  return result;
}

}  // namespace

Output::Output(const OutputStyle& style)
    : is_json_(style.json),
      is_quiet_(style.quiet),
      is_verbose_(style.verbose),
      width_(columns(Stream::output)),
      has_colours_(has_colours(Stream::output)),
      has_error_colours_(has_colours(Stream::error)),
      bar_(is_json_ || is_quiet_ ? 0 : columns(Stream::error)) {}

void Output::line(std::string_view text) {
  if (!is_json_) write(Stream::output, std::string(text) + '\n');
}

void Output::heading(std::string_view text) { line(coloured(text, kBold, has_colours_)); }

void Output::bytes(const char* data, std::size_t size) {
  const std::lock_guard lock(mutex_);
  std::fwrite(data, 1, size, stdout);
}

void Output::result(std::string_view name, json::value value) {
  if (is_json_) result_[name] = std::move(value);
}

void Output::event(std::string_view name, const json::object& members) {
  if (is_json_) write_event(name, members);
}

void Output::message(const msg::Message& message) {
  const bool is_warning = message.severity == msg::Severity::warning;
  this->message(is_warning ? "warning" : "error", framework::to_utf8(message.identifier()),
                framework::to_utf8(message.text()));
}

void Output::error(std::string_view text, std::string_view identifier) {
  message("error", identifier, text);
}

void Output::warning(std::string_view text, std::string_view identifier) {
  message("warning", identifier, text);
}

void Output::message(std::string_view severity, std::string_view identifier,
                     std::string_view text) {
  if (is_json_) {
    json::object event = {{"severity", severity}};
    if (!identifier.empty()) event["id"] = identifier;
    event["text"] = text;
    write_event("message", event);
    return;
  }
  const bool is_warning = severity == "warning";
  write(Stream::error,
        coloured(is_warning ? kWarning : kError, is_warning ? kYellow : kRed, has_error_colours_) +
            std::string(text) + '\n');
}

void Output::note(std::string_view text, std::string_view identifier) {
  if (is_json_) {
    json::object event;
    if (!identifier.empty()) event["id"] = identifier;
    event["text"] = text;
    write_event("note", event);
  } else if (!is_quiet_) {
    write(Stream::error, std::string(text) + '\n');
  }
}

void Output::log(std::string_view line) {
  if (!is_json_) {
    if (!is_quiet_) write(Stream::error, std::string(line) + '\n');
  } else if (is_verbose_) {
    write_event("log", {{"text", line}});
  }
}

void Output::progress(const pkg::progress_t& progress) {
  const std::lock_guard lock(mutex_);
  const bool is_due = bar_.take(progress);
  if (!is_due) return;
  if (is_json_ && is_verbose_) {
    json::object event = {{"event", "progress"},
                          {"members_done", progress.members_done},
                          {"members", progress.members},
                          {"bytes_done", progress.bytes_done}};
    if (progress.bytes) event["bytes"] = *progress.bytes;
    std::string text;
    framework::JsonWriter(text).append(event);
    text += '\n';
    std::fwrite(text.data(), 1, text.size(), stdout);
  } else {
    bar_.draw();
  }
}

void Output::ask(std::string_view question) { write(Stream::error, std::string(question)); }

int Output::end(int status) {
  if (is_json_) {
    result_["status"] = status;
    write_event("result", result_);
  }
  {
    const std::lock_guard lock(mutex_);
    bar_.erase();
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  }
  write(Stream::error, std::string(kError) + "The result cannot be written.\n");
  return status == kDone ? kFailed : status;
}

void Output::write_event(std::string_view name, const json::object& members) {
  json::object event = {{"event", name}};
  for (const json::key_value_pair& member : members) event[member.key()] = member.value();
  std::string text;
  framework::JsonWriter(text).append(event);
  write(Stream::output, text + '\n');
}

void Output::write(Stream stream, std::string text) {
  const std::lock_guard lock(mutex_);
  bar_.erase();
  FILE* file = stream == Stream::output ? stdout : stderr;
  std::fwrite(text.data(), 1, text.size(), file);
  std::fflush(file);
}

}  // namespace zendro::console
