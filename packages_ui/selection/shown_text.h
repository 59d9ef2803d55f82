// Messages of the package core as the window shows them.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "msg/message.h"
#include "pkg/operation_turn.h"

namespace zendro::packages_ui {

/// The text of a message as the pane and message boxes show it; warnings are labelled.
std::wstring shown_text(const msg::Message& message);

/// A text as a message box or a datatip holds it: as msg::shown() shows its lines, each broken
/// after at most kBoxColumns characters, and no more of them than fit the screen.
inline constexpr std::size_t kBoxColumns = 150;
inline constexpr std::size_t kBoxLines = 30;
std::wstring boxed(std::wstring_view text);

/// Which program an operation waits for.
std::wstring waiting_text(const pkg::waiting_t& waiting);

/// Says that packages could not be loaded from the file at `path`, and below that the texts of the
/// messages.
std::wstring load_problem_text(std::wstring_view path, std::span<const msg::Message> messages);
/// The same for one message that names the file; only its text if it names none.
std::wstring load_problem_text(const msg::Message& message);

}  // namespace zendro::packages_ui
