#include "packages_ui/search_field.h"

#include <wx/sizer.h>

namespace zendro::packages_ui {

SearchField::SearchField(wxWindow* form, PackagesRelDisp& grid, int border) : grid_(grid) {
  Hide();
  Create(form, wxID_ANY, wxString(), wxDefaultPosition, wxDefaultSize, 0, wxDefaultValidator,
         "edtSearch");
  SetHint("Search names, titles and descriptions");
  const wxSizerFlags flags =
      wxSizerFlags().Expand().Border(wxLEFT | wxTOP | wxRIGHT, form->FromDIP(border));
  form->GetSizer()->Insert(0, this, flags);
  MoveBeforeInTabOrder(form->GetChildren().GetFirst()->GetData());
  Bind(wxEVT_TEXT, [this](wxCommandEvent&) { grid_.set_filter(GetValue().ToStdWstring()); });
}

bool SearchField::handle_key(const wxKeyEvent& event) {
  const int key = event.GetKeyCode();
  if (key == 'F' && event.GetModifiers() == wxMOD_CONTROL) {
    open();
    return true;
  }
  if (!IsShown() || event.GetModifiers() != wxMOD_NONE) return false;
  if (key == WXK_ESCAPE) {
    dismiss();
    return true;
  }
  const bool leaves = key == WXK_DOWN || key == WXK_RETURN || key == WXK_NUMPAD_ENTER;
  if (HasFocus() && leaves) {
    grid_.SetFocus();
    return true;
  }
  return false;
}

void SearchField::open() {
  Show();
  fit_form();
  SetFocus();
  SelectAll();
}

void SearchField::dismiss() {
  Hide();
  fit_form();
  ChangeValue(wxString());
  grid_.set_filter({});
  grid_.SetFocus();
}

// Gives the form the room that it needs with the field, or without it.
void SearchField::fit_form() {
  wxWindow* form = GetParent();
  form->SetMinSize(form->GetSizer()->ComputeFittingWindowSize(form));
  wxSize size = form->GetSize();
  size.IncTo(form->GetMinSize());
  form->SetSize(size);
  form->Layout();
}

}  // namespace zendro::packages_ui
