#include "msg/format.h"

#include <algorithm>

#include "msg/message_table.h"

namespace zendro::msg {
namespace {

bool is_control(wchar_t c) {
  return c < L' ' || (c >= 0x7F && c <= 0x9F) || c == 0x2028 || c == 0x2029;
}

void append_value(std::wstring& out, std::wstring_view value) {
  for (const wchar_t c : value) out += is_control(c) ? L' ' : c;
}

}  // namespace

std::wstring fill(std::wstring_view text, const Arguments& arguments) {
  std::wstring out;
  out.reserve(text.size() + 64);
  while (!text.empty()) {
    const std::size_t open = text.find(L'{');
    out += text.substr(0, open);
    if (open == std::wstring_view::npos) break;
    text.remove_prefix(open);
    const std::size_t close = text.find(L'}');
    const std::wstring_view name =
        close == std::wstring_view::npos ? std::wstring_view() : text.substr(1, close - 1);
    const auto argument =
        std::find_if(arguments.begin(), arguments.end(),
                     [name](const Argument& candidate) { return candidate.first == name; });
    if (argument == arguments.end()) {
      out += text.front();
      text.remove_prefix(1);
    } else {
      append_value(out, argument->second);
      text.remove_prefix(close + 1);
    }
  }
  return out;
}

std::wstring format_message(int code, const Arguments& arguments) {
  return fill(message_text(code), arguments);
}

}  // namespace zendro::msg
