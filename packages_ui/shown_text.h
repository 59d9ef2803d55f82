// Messages of the package core as the window shows them.
#pragma once

#include <string>

#include "msg/message.h"

namespace zendro::packages_ui {

/// The text of a message as the pane and message boxes show it; warnings are labelled.
std::wstring shown_text(const msg::Message& message);

}  // namespace zendro::packages_ui
