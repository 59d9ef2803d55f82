#include <objbase.h>
#include <windows.h>
#include <oleacc.h>
#include <wx/textfile.h>

#include "packages_ui/native_text.h"

namespace zendro::packages_ui {
namespace {

LRESULT tell(const wxTextCtrl& control, UINT message, WPARAM first = 0, LPARAM second = 0) {
  return SendMessageW(control.GetHWND(), message, first, second);
}

// Keeps a control from drawing states that last for a moment only.
class WithoutDrawing {
 public:
  explicit WithoutDrawing(const wxTextCtrl& control) : control_(control) {
    tell(control_, WM_SETREDRAW, FALSE);
  }
  ~WithoutDrawing() {
    tell(control_, WM_SETREDRAW, TRUE);
    InvalidateRect(control_.GetHWND(), nullptr, TRUE);
  }
  WithoutDrawing(const WithoutDrawing&) = delete;
  WithoutDrawing& operator=(const WithoutDrawing&) = delete;

 private:
  const wxTextCtrl& control_;
};

}  // namespace

void append_quietly(wxTextCtrl& control, const wxString& text) {
  const wxString lines = wxTextBuffer::Translate(text, wxTextFileType_Dos);
  const WithoutDrawing without_drawing(control);
  tell(control, EM_SETLIMITTEXT, 0);  // as much as there is memory for
  DWORD from = 0;
  DWORD to = 0;
  tell(control, EM_GETSEL, reinterpret_cast<WPARAM>(&from), reinterpret_cast<LPARAM>(&to));
  const LRESULT first_in_sight = tell(control, EM_GETFIRSTVISIBLELINE);
  const auto end = static_cast<WPARAM>(GetWindowTextLengthW(control.GetHWND()));
  tell(control, EM_SETSEL, end, static_cast<LPARAM>(end));
  tell(control, EM_REPLACESEL, FALSE, reinterpret_cast<LPARAM>(lines.wc_str()));
  tell(control, EM_SETSEL, from, static_cast<LPARAM>(to));
  tell(control, EM_LINESCROLL, 0, first_in_sight - tell(control, EM_GETFIRSTVISIBLELINE));
}

void append_and_follow(wxTextCtrl& control, const wxString& text) {
  append_quietly(control, text);
  tell(control, EM_LINESCROLL, 0, tell(control, EM_GETLINECOUNT));
}

bool shows_end(const wxTextCtrl& control) {
  SCROLLINFO lines = {};
  lines.cbSize = sizeof lines;
  lines.fMask = SIF_ALL;
  // There is no scroll bar while everything is in sight.
  if (!GetScrollInfo(control.GetHWND(), SB_VERT, &lines)) return true;
  return lines.nPos + static_cast<int>(lines.nPage) >= lines.nMax;
}

void make_accessible(wxTextCtrl& control, const char* name) {
  IAccPropServices* services = nullptr;
  if (FAILED(CoCreateInstance(CLSID_AccPropServices, nullptr, CLSCTX_INPROC_SERVER,
                              IID_IAccPropServices, reinterpret_cast<void**>(&services)))) {
    return;  // the control then has no name there
  }
  services->SetHwndPropStr(control.GetHWND(), static_cast<DWORD>(OBJID_CLIENT), CHILDID_SELF,
                           PROPID_ACC_NAME, wxString(name).wc_str());
  services->Release();
}

}  // namespace zendro::packages_ui
