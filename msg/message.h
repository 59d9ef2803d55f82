// A message: what the package core reports when something failed.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "msg/format.h"
#include "msg/message_table.h"

namespace zendro::msg {

enum class Severity : int { error = 1, fatal = 2, warning = 4 };

struct Message {
  std::optional<Code> code;  ///< nothing: a message of the I/O or JSON layer, whose text is `hint`
  Arguments arguments;
  Severity severity = Severity::error;
  std::wstring hint;  ///< the cause, in words that are not in the table; may be empty

  /// The identifier of the table, or "io_error" for a message without a code.
  [[nodiscard]] std::wstring_view identifier() const;
  /// The finished text: the filled text of the table, and the hint on a line of its own.
  [[nodiscard]] std::wstring text() const;
};

/// Receives messages as they are raised, on the thread that raises them.
using MessageSink = std::function<void(const Message&)>;

}  // namespace zendro::msg
