#include "msg/message_table.h"

#include <array>
#include <cstddef>

namespace zendro::msg {
namespace {

#define ZENDRO_NO_MESSAGE(identifier) static_cast<const wchar_t*>(nullptr),

constexpr std::array kIdentifiers = {
#define ZENDRO_MESSAGE(identifier, text) static_cast<const wchar_t*>(L## #identifier),
#include "msg/messages.def"
#undef ZENDRO_MESSAGE
};

constexpr std::array kTexts = {
#define ZENDRO_MESSAGE(identifier, text) static_cast<const wchar_t*>(text),
#include "msg/messages.def"
#undef ZENDRO_MESSAGE
};

static_assert(static_cast<int>(Code::no_message) == 83);

template <std::size_t size>
std::wstring_view entry(const std::array<const wchar_t*, size>& table, int code) {
  const bool known = code >= 0 && code < static_cast<int>(size);
  const wchar_t* text = known ? table[static_cast<std::size_t>(code)] : nullptr;
  return text == nullptr ? std::wstring_view() : std::wstring_view(text);
}

constexpr std::array<std::wstring_view, 5> kParameterRoles = {L"location", L"main", L"hint",
                                                              L"subParam", L""};

}  // namespace

std::wstring_view message_identifier(int code) { return entry(kIdentifiers, code); }

std::wstring_view message_text(int code) { return entry(kTexts, code); }

std::wstring_view parameter_role(int role) {
  const bool known = role >= 0 && role < static_cast<int>(kParameterRoles.size());
  return known ? kParameterRoles[static_cast<std::size_t>(role)] : kParameterRoles.back();
}

}  // namespace zendro::msg
