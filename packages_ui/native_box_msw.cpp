#include "packages_ui/native_box.h"

namespace zendro::packages_ui {

std::unique_ptr<wxMessageDialogBase> make_message_box(wxWindow* parent, const wxString& text,
                                                      const wxString& caption, long style) {
  return std::make_unique<wxMessageDialog>(parent, text, caption, style);
}

}  // namespace zendro::packages_ui
