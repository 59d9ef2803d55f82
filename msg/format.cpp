#include "msg/format.h"

#include <algorithm>

#include "msg/message_table.h"
#include "msg/shown.h"

namespace zendro::msg {

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
      out += shown(argument->second);
      text.remove_prefix(close + 1);
    }
  }
  return out;
}

std::wstring format_message(int code, const Arguments& arguments) {
  return fill(message_text(code), arguments);
}

}  // namespace zendro::msg
