#include "framework/http/trace.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <string>
#include <utility>

#include "framework/http/http.h"
#include "framework/http/transfer.h"
#include "framework/text/ascii.h"
#include "framework/url/loggable.h"

namespace zendro::framework {
namespace {

/// Now in UTC, as "2025-01-31T12:34:56.789Z" (ISO 8601).
std::string time_stamp() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  std::array<char, 48> text{};
  const int length = std::snprintf(
      text.data(), text.size(), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
      static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
      static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
      static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
      static_cast<int>(time.subseconds().count()));
  return {text.data(), static_cast<std::size_t>(length)};
}

std::string_view without_line_end(std::string_view line) {
  const std::size_t last = line.find_last_not_of("\r\n");
  return line.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace

bool is_credential_header(std::string_view name) {
  constexpr std::array<std::string_view, 4> kNames = {"Authorization", "Proxy-Authorization",
                                                      "Cookie", "Set-Cookie"};
  return std::any_of(kNames.begin(), kNames.end(),
                     [&](std::string_view other) { return equal_ignoring_case(name, other); });
}

HttpTrace::HttpTrace(std::shared_ptr<IOImpl_base> file, int level)
    : file_(std::move(file)), level_(level) {}

void HttpTrace::request(std::string_view method, std::string_view url) {
  write("= ", std::string(method).append(" ").append(url));
}

void HttpTrace::failure(std::string_view text) { write("! ", text); }

void HttpTrace::remark(std::string_view text) {
  if (level_ < kTraceHeaders) return;
  // libcurl's remarks on authentication and on proxies end with the user or the proxy's URL.
  for (const std::string_view secret : {" with user '", "env variable "}) {
    const std::size_t at = text.find(secret);
    if (at != std::string_view::npos) text = text.substr(0, text.find_first_of("'=", at));
  }
  write("* ", without_line_end(text));
}

void HttpTrace::request_head(std::string_view lines) {
  hiding_ = false;
  while (level_ >= kTraceHeaders && !lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size() - 1) + 1;
    header_line("> ", lines.substr(0, end));
    lines.remove_prefix(end);
  }
}

void HttpTrace::response_head(std::string_view line) {
  if (line.starts_with("HTTP/")) {
    hiding_ = false;
    write("< ", without_line_end(line));
  } else if (level_ >= kTraceHeaders) {
    header_line("< ", line);
  }
}

void HttpTrace::data(bool received, std::size_t bytes) {
  if (level_ < kTraceEverything) return;
  write(received ? "<= " : "=> ", std::to_string(bytes) + " bytes");
}

void HttpTrace::header_line(std::string_view mark, std::string_view line) {
  line = without_line_end(line);
  if (line.empty()) return;
  if (line[0] == ' ' || line[0] == '\t') {
    if (!hiding_) write(mark, line);
    return;
  }
  const std::string_view name = line.substr(0, line.find(':'));
  hiding_ = is_credential_header(name.substr(0, name.find_last_not_of(" \t") + 1));
  if (hiding_) {
    write(mark, std::string(name) + ": ***");
  } else if (equal_ignoring_case(name, "Location")) {
    const std::size_t value = std::min(line.find_first_not_of(" \t", name.size() + 1), line.size());
    write(mark, std::string(line.substr(0, value)) + hide_credentials(line.substr(value)));
  } else {
    write(mark, line);
  }
}

void HttpTrace::write(std::string_view mark, std::string_view text) {
  const std::string line = time_stamp().append(" ").append(mark) + loggable_text(text) + "\n";
  file_->write(line.data(), line.size());
}

}  // namespace zendro::framework
