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

// The view scrolls to a mark when it knows how high the lines before it are.
void scroll_to_end(wxTextCtrl& control) {
  constexpr char kEndMark[] = "zendro-end";
  auto* view = GTK_TEXT_VIEW(text_view(control));
  GtkTextBuffer* buffer = gtk_text_view_get_buffer(view);
  GtkTextMark* mark = gtk_text_buffer_get_mark(buffer, kEndMark);
  if (mark == nullptr) {
    GtkTextIter end;
    gtk_text_buffer_get_end_iter(buffer, &end);
    mark = gtk_text_buffer_create_mark(buffer, kEndMark, &end, FALSE);  // stays behind new text
  }
  gtk_text_view_scroll_to_mark(view, mark, 0, FALSE, 0, 0);
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
