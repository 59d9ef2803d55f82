#include "msg/logger.h"

#include <algorithm>
#include <ctime>
#include <cwchar>
#include <iterator>

#include "msg/format.h"
#include "msg/local_time.h"
#include "msg/shown.h"

namespace zendro::msg {

std::wstring date_string(std::int64_t time) {
  const std::tm local = local_time(time);
  wchar_t text[64];
  const int length = std::swprintf(
      text, std::size(text), L"%04u-%02u-%02uT%02u:%02u:%02u",
      static_cast<unsigned>(local.tm_year) + 1900u, static_cast<unsigned>(local.tm_mon) + 1u,
      static_cast<unsigned>(local.tm_mday), static_cast<unsigned>(local.tm_hour),
      static_cast<unsigned>(local.tm_min), static_cast<unsigned>(local.tm_sec));
  return {text, static_cast<std::size_t>(std::max(length, 0))};
}

Logger::Logger(std::wstring prefix_format, int threshold)
    : prefix_format_(std::move(prefix_format)), threshold_(threshold) {}

void Logger::add_handler(std::shared_ptr<LogHandler> handler) {
  const std::lock_guard lock(mutex_);
  handlers_.push_back(std::move(handler));
}

void Logger::remove_handler(const LogHandler* handler) {
  const std::lock_guard lock(mutex_);
  std::erase_if(handlers_, [handler](const auto& held) { return held.get() == handler; });
}

bool Logger::log(std::wstring_view kind, std::wstring_view text, int level) {
  const Handlers handlers = handlers_for(level);
  if (handlers.empty()) return false;
  deliver(handlers, kind, text);
  return true;
}

bool Logger::log(std::wstring_view kind, int code, const std::vector<std::wstring>& values,
                 int level) {
  constexpr std::size_t kMostValues = 5;
  Arguments arguments;
  for (std::size_t i = 0; i < std::min(values.size(), kMostValues); ++i) {
    arguments.emplace_back(L"arg" + std::to_wstring(i + 1), values[i]);
  }
  return log_message(kind, code, arguments, level);
}

bool Logger::log_message(std::wstring_view kind, int code, const Arguments& arguments, int level) {
  const Handlers handlers = handlers_for(level);
  if (handlers.empty()) return false;
  deliver(handlers, kind, format_message(code, arguments));
  return true;
}

// The handlers are copied, so that one that is removed while a line is delivered stays alive and
// handlers may log or register themselves.
Logger::Handlers Logger::handlers_for(int level) const {
  if (level < threshold_) return {};
  const std::lock_guard lock(mutex_);
  return handlers_;
}

void Logger::deliver(const Handlers& handlers, std::wstring_view kind,
                     std::wstring_view text) const {
  const auto time = static_cast<std::int64_t>(std::time(nullptr));
  std::wstring line =
      fill(prefix_format_, {{L"datestring", date_string(time)}, {L"logkind", std::wstring(kind)}});
  line = shown(line.append(text));
  for (const std::shared_ptr<LogHandler>& handler : handlers)
    handler->handle_line(time, kind, line);
}

}  // namespace zendro::msg
