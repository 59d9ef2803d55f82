#include <windows.h>

#include "packages_ui/selection/fold_case.h"

namespace zendro::packages_ui {

std::wstring fold_case(std::wstring text) {
  if (text.empty()) return text;
  // Lower case never takes another number of units.
  std::wstring lower(text.size(), L'\0');
  const auto size = static_cast<int>(text.size());
  const int length = LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, text.data(), size,
                                   lower.data(), size, nullptr, nullptr, 0);
  return length == size ? lower : text;
}

}  // namespace zendro::packages_ui
