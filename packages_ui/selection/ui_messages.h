// The texts of the window, addressed by code.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "msg/format.h"

namespace zendro::packages_ui {

/// Message codes of the window. Their numbers are fixed.
enum class UiCode : int {
#define ZENDRO_UI_MESSAGE(code, identifier, text) identifier = code,
#include "packages_ui/selection/ui_messages.def"
#undef ZENDRO_UI_MESSAGE
};

/// The identifier of a message; empty for a code that no message has.
std::wstring_view ui_message_identifier(int code);
/// The text of a message with its {placeholders}; empty for a code that no message has.
std::wstring_view ui_message_text(int code);

/// The text of a message, filled as by msg::fill.
std::wstring ui_message(UiCode code, const msg::Arguments& arguments = {});

/// The caption of every window of a package type ("xsd", "xbrl").
std::wstring window_caption(std::string_view type);

/// The text of a message with its {packages} replaced by `before` and the package, for each of the
/// packages, and `between` between two of them. Control characters in a package become blanks.
std::wstring ui_message_with_packages(UiCode code, std::span<const std::wstring> packages,
                                      std::wstring_view before, std::wstring_view between);

}  // namespace zendro::packages_ui
