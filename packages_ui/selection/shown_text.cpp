#include "packages_ui/selection/shown_text.h"

#include "msg/logger.h"
#include "msg/shown.h"
#include "msg/text_builder.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// Where a line without a blank is broken: not between the two UTF-16 units of a character.
std::size_t break_position(std::wstring_view line) {
  std::size_t end = kBoxColumns;
  if (line[end] >= 0xDC00 && line[end] <= 0xDFFF) --end;
  return end;
}

}  // namespace

std::wstring shown_text(const msg::Message& message) {
  msg::TextBuilder builder;
  builder.begin_message(message.severity == msg::Severity::warning ? L"Warning" : L"");
  return builder.add(message.text()).text();
}

std::wstring boxed(std::wstring_view text) {
  const std::wstring whole = msg::shown_lines(text);
  std::wstring_view rest = whole;
  std::wstring out;
  for (std::size_t lines = 1; !rest.empty(); ++lines) {
    if (lines > kBoxLines) return out += L'\x2026';
    std::wstring_view line = rest.substr(0, rest.find(L'\n'));
    if (line.size() > kBoxColumns) {
      const std::size_t blank = line.rfind(L' ', kBoxColumns);
      line = line.substr(0, blank == std::wstring_view::npos ? break_position(line) : blank);
    }
    out += line;
    rest.remove_prefix(line.size());
    if (rest.empty()) break;
    out += L'\n';
    if (rest.front() == L'\n' || rest.front() == L' ') rest.remove_prefix(1);
  }
  return out;
}

std::wstring waiting_text(const pkg::waiting_t& waiting) {
  const std::wstring since = msg::date_string(waiting.since);
  if (waiting.process == 0) {
    return ui_message(UiCode::PackageUIWaitingForAnother, {{L"since", since}});
  }
  const std::string user = waiting.user.empty() ? "an unknown user" : waiting.user;
  return ui_message(UiCode::PackageUIWaitingForProcess,
                    {{L"process", std::to_wstring(waiting.process)},
                     {L"user", msg::shown(user)},
                     {L"since", since}});
}

std::wstring load_problem_text(std::wstring_view path, std::span<const msg::Message> messages) {
  msg::TextBuilder text;
  text.begin_message().add(
      ui_message(UiCode::PackageUILoadContainerError, {{L"path", std::wstring(path)}}));
  for (const msg::Message& message : messages) text.begin_message().add(shown_text(message));
  return text.text();
}

std::wstring load_problem_text(const msg::Message& message) {
  for (const auto& [name, value] : message.arguments) {
    if (name == L"path") return load_problem_text(value, std::span(&message, 1));
  }
  return shown_text(message);
}

}  // namespace zendro::packages_ui
