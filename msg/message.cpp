#include "msg/message.h"

#include "msg/text_builder.h"

namespace zendro::msg {

std::wstring_view Message::identifier() const {
  return code ? message_identifier(static_cast<int>(*code)) : std::wstring_view(L"io_error");
}

std::wstring Message::text() const {
  TextBuilder builder;
  if (code) builder.begin_message().add(format_message(static_cast<int>(*code), arguments));
  if (!hint.empty()) builder.begin_message().add(fill(L"{hint}", {{L"hint", hint}}));
  return builder.text();
}

}  // namespace zendro::msg
