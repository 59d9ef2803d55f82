// Makes texts comparable without regard to case.
#pragma once

#include <string>

namespace zendro::packages_ui {

/// The text in lower case by the rules of Unicode for single characters, whatever the language of
/// the desktop.
std::wstring fold_case(std::wstring text);

}  // namespace zendro::packages_ui
