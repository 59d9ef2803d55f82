// Message boxes that look as on the rest of the system and show their icon. Window thread only.
#pragma once

#include <memory>

#include <wx/msgdlg.h>

namespace zendro::packages_ui {

/// Makes a message box; `style` is that of wxMessageDialog.
std::unique_ptr<wxMessageDialogBase> make_message_box(wxWindow* parent, const wxString& text,
                                                      const wxString& caption, long style);

}  // namespace zendro::packages_ui
