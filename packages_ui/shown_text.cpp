#include "packages_ui/shown_text.h"

#include "msg/text_builder.h"

namespace zendro::packages_ui {

std::wstring shown_text(const msg::Message& message) {
  msg::TextBuilder builder;
  builder.begin_message(message.severity == msg::Severity::warning ? L"Warning" : L"");
  return builder.add(message.text()).text();
}

}  // namespace zendro::packages_ui
