// What the toolkit's text control cannot do by itself. Window thread only.
#pragma once

#include <wx/textctrl.h>

namespace zendro::packages_ui {

/// Appends to a multi-line text without moving the cursor, the selection or the view.
void append_quietly(wxTextCtrl& control, const wxString& text);
/// Appends to a multi-line text and scrolls to its last line, perhaps after returning. The
/// selection stays.
void append_and_follow(wxTextCtrl& control, const wxString& text);

/// Whether its last line, or the one before, is in sight now.
bool shows_end(const wxTextCtrl& control);

/// Gives assistive technology the name of the control, which has no label.
void make_accessible(wxTextCtrl& control, const char* name);

}  // namespace zendro::packages_ui
