#include "packages_ui/selection/ui_messages.h"

#include "app/options/package_types.h"

namespace zendro::packages_ui {

std::wstring_view ui_message_identifier(int code) {
  switch (code) {
#define ZENDRO_UI_MESSAGE(number, identifier, text) \
  case number:                                      \
    return L## #identifier;
#include "packages_ui/selection/ui_messages.def"
#undef ZENDRO_UI_MESSAGE
    default:
      return {};
  }
}

std::wstring_view ui_message_text(int code) {
  switch (code) {
#define ZENDRO_UI_MESSAGE(number, identifier, text) \
  case number:                                      \
    return text;
#include "packages_ui/selection/ui_messages.def"
#undef ZENDRO_UI_MESSAGE
    default:
      return {};
  }
}

std::wstring ui_message(UiCode code, const msg::Arguments& arguments) {
  return msg::fill(ui_message_text(static_cast<int>(code)), arguments);
}

std::wstring window_caption(std::string_view type) {
  return ui_message(static_cast<UiCode>(app::package_type(type).caption));
}

std::wstring ui_message_with_packages(UiCode code, std::span<const std::wstring> packages,
                                      std::wstring_view before, std::wstring_view between) {
  constexpr std::wstring_view kPlaceholder = L"{packages}";
  std::wstring text(ui_message_text(static_cast<int>(code)));
  const std::size_t at = text.find(kPlaceholder);
  if (at == std::wstring::npos) return text;

  // The line breaks of the list are ours, those in a value are not: each package is filled in
  // by itself.
  std::wstring list;
  for (const std::wstring& package : packages) {
    if (!list.empty()) list += between;
    list += before;
    list += msg::fill(L"{package}", {{L"package", package}});
  }
  return text.replace(at, kPlaceholder.size(), list);
}

}  // namespace zendro::packages_ui
