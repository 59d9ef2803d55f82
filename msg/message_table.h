// The fixed tables of message identifiers and English texts of the package manager.
#pragma once

#include <string_view>

namespace zendro::msg {

/// Message codes: indexes into the table, stored as numbers by callers, so their order is fixed.
enum class Code : int {
#define ZENDRO_MESSAGE(identifier, text) identifier,
#define ZENDRO_NO_MESSAGE(identifier) identifier,
#include "msg/messages.def"
#undef ZENDRO_NO_MESSAGE
#undef ZENDRO_MESSAGE
};

/// The identifier of a message; empty for a code that no message has.
std::wstring_view message_identifier(int code);
/// The English text of a message with its {placeholders}; empty for a code that no message has.
std::wstring_view message_text(int code);

/// The role of a message parameter: "location", "main", "hint" or "subParam" (0 to 3); empty for
/// every other number.
std::wstring_view parameter_role(int role);

}  // namespace zendro::msg
