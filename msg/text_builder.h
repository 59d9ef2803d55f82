// Assembling texts of several messages, as shown in the output pane and in message boxes.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace zendro::msg {

/// A growing text buffer. It grows to at least twice the needed length, and never by less than
/// kMinimumGrowth characters at a time.
class Builder {
 public:
  static constexpr std::size_t kMinimumGrowth = 1024;

  virtual ~Builder() = default;
  [[nodiscard]] const std::wstring& text() const { return text_; }
  [[nodiscard]] std::size_t capacity() const { return text_.capacity(); }

 protected:
  void append(std::wstring_view part);

 private:
  std::wstring text_;
};

class TextBuilder : public Builder {
 public:
  /// Starts a message: a line break when one stands before it, then the severity label with ": ",
  /// where one is given.
  TextBuilder& begin_message(std::wstring_view severity_label = {});
  TextBuilder& add(std::wstring_view part);
  /// Adds a value in single quotes.
  TextBuilder& add_quoted(std::wstring_view value);
  /// Adds parts joined by ", "; "..." stands for those beyond `limit`.
  TextBuilder& add_list(std::span<const std::wstring> parts, std::size_t limit);

 private:
  bool begun_ = false;
};

}  // namespace zendro::msg
