// The program's own texts.
#pragma once

#include <string>
#include <string_view>

#include "msg/format.h"
#include "msg/message_table.h"

namespace zendro::cli {

enum class Text : int {
#define ZENDRO_CLI_MESSAGE(identifier, text) identifier,
#include "cli/cli_messages.def"
#undef ZENDRO_CLI_MESSAGE
};

/// What names the text in JSON.
std::string identifier_of(Text text);
/// The text, filled as by msg::fill, in UTF-8.
std::string filled(Text text, const msg::Arguments& arguments = {});
/// A text of the core's table.
std::string filled(msg::Code code, const msg::Arguments& arguments = {});

/// An argument from UTF-8, as it is shown.
msg::Argument named(std::wstring_view name, std::string_view utf8);

/// A text from outside on one line with nothing invisible in it.
std::string shown(std::string_view utf8);

}  // namespace zendro::cli
