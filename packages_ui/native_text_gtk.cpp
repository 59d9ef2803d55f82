#include <gtk/gtk.h>

#include "packages_ui/native_text.h"

namespace zendro::packages_ui {
namespace {

GtkWidget* text_view(wxTextCtrl& control) {
  return gtk_bin_get_child(GTK_BIN(control.GetHandle()));
}

}  // namespace

void append_quietly(wxTextCtrl& control, const wxString& text) {
  GtkTextBuffer* buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(text_view(control)));
  GtkTextIter end;
  gtk_text_buffer_get_end_iter(buffer, &end);
  const wxScopedCharBuffer bytes = text.utf8_str();
  gtk_text_buffer_insert(buffer, &end, bytes.data(), static_cast<int>(bytes.length()));
}

// GTK measures new lines later on. With the cursor at the end it scrolls again when it has.
void append_and_follow(wxTextCtrl& control, const wxString& text) {
  long selected_from = 0;
  long selected_to = 0;
  control.GetSelection(&selected_from, &selected_to);
  control.AppendText(text);
  if (selected_from != selected_to) control.SetSelection(selected_from, selected_to);
  control.ShowPosition(control.GetLastPosition());
}

bool shows_end(const wxTextCtrl& control) {
  return control.GetScrollPos(wxVERTICAL) + control.GetScrollThumb(wxVERTICAL) +
             control.GetCharHeight() >=
         control.GetScrollRange(wxVERTICAL);
}

void make_accessible(wxTextCtrl& control, const char* name) {
  atk_object_set_name(gtk_widget_get_accessible(text_view(control)), name);
}

}  // namespace zendro::packages_ui
