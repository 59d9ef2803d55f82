#include "msg/text_builder.h"

#include <algorithm>

namespace zendro::msg {

void Builder::append(std::wstring_view part) {
  const std::size_t needed = text_.size() + part.size();
  if (needed > text_.capacity()) {
    text_.reserve(std::max(2 * needed, text_.capacity() + kMinimumGrowth));
  }
  text_ += part;
}

TextBuilder& TextBuilder::begin_message(std::wstring_view severity_label) {
  if (begun_) append(L"\n");
  begun_ = true;
  if (!severity_label.empty()) {
    append(severity_label);
    append(L": ");
  }
  return *this;
}

TextBuilder& TextBuilder::add(std::wstring_view part) {
  append(part);
  return *this;
}

TextBuilder& TextBuilder::add_quoted(std::wstring_view value) {
  append(L"'");
  append(value);
  append(L"'");
  return *this;
}

TextBuilder& TextBuilder::add_list(std::span<const std::wstring> parts, std::size_t limit) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) append(L", ");
    if (i == limit) {
      append(L"...");
      break;
    }
    append(parts[i]);
  }
  return *this;
}

}  // namespace zendro::msg
