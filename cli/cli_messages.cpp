#include "cli/cli_messages.h"

#include <array>

#include "framework/text/utf8.h"
#include "msg/shown.h"

namespace zendro::cli {
namespace {

constexpr std::array kIdentifiers = {
#define ZENDRO_CLI_MESSAGE(identifier, text) #identifier,
#include "cli/cli_messages.def"
#undef ZENDRO_CLI_MESSAGE
};

constexpr std::array kTexts = {
#define ZENDRO_CLI_MESSAGE(identifier, text) text,
#include "cli/cli_messages.def"
#undef ZENDRO_CLI_MESSAGE
};

}  // namespace

std::string identifier_of(Text text) { return kIdentifiers.at(static_cast<std::size_t>(text)); }

std::string filled(Text text, const msg::Arguments& arguments) {
  return framework::to_utf8(msg::fill(kTexts.at(static_cast<std::size_t>(text)), arguments));
}

std::string filled(msg::Code code, const msg::Arguments& arguments) {
  return framework::to_utf8(msg::format_message(static_cast<int>(code), arguments));
}

msg::Argument named(std::wstring_view name, std::string_view utf8) {
  return {std::wstring(name), msg::shown(utf8)};
}

std::string shown(std::string_view utf8) { return framework::to_utf8(msg::shown(utf8)); }

}  // namespace zendro::cli
