#include <clocale>
#include <cwctype>

#include "packages_ui/selection/fold_case.h"

namespace zendro::packages_ui {
namespace {

// The locale that knows all of Unicode and no language; null on a system without it.
locale_t neutral_locale() {
  static locale_t const locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  return locale;
}

}  // namespace

std::wstring fold_case(std::wstring text) {
  locale_t const locale = neutral_locale();
  for (wchar_t& character : text) {
    if (character < L'\x80') {
      if (character >= L'A' && character <= L'Z') character += L'a' - L'A';
    } else if (locale != nullptr) {
      character = static_cast<wchar_t>(towlower_l(static_cast<std::wint_t>(character), locale));
    }
  }
  return text;
}

}  // namespace zendro::packages_ui
