#include <wx/richmsgdlg.h>  // the header of the generic box does not stand alone

#include "packages_ui/native_box.h"

namespace zendro::packages_ui {

std::unique_ptr<wxMessageDialogBase> make_message_box(wxWindow* parent, const wxString& text,
                                                      const wxString& caption, long style) {
  // GTK's own boxes have shown no icons since its version 3.12.
  return std::make_unique<wxGenericMessageDialog>(parent, text, caption, style);
}

}  // namespace zendro::packages_ui
