#include "packages_ui/output_pane.h"

#include <utility>

namespace zendro::packages_ui {
namespace {

// The control breaks lines at "\n" and writes it as the system does.
wxString control_text(std::wstring text) {
  std::erase(text, L'\r');
  return wxString(text);
}

}  // namespace

OutputPane::OutputPane(wxTextCtrl* control, Post post)
    : control_(control), post_(std::move(post)) {}

void OutputPane::append_line(std::wstring_view line) {
  bool first;
  {
    const std::lock_guard lock(mutex_);
    first = pending_.empty();
    pending_ += line;
    pending_ += L'\n';
  }
  // Lines that come before the action runs go with it.
  if (first) post_([this] { flush(); });
}

void OutputPane::replace(const std::wstring& text) {
  at_line_start_ = text.empty();
  control_->ChangeValue(control_text(text));
  control_->Update();
}

void OutputPane::flush() {
  std::wstring lines;
  {
    const std::lock_guard lock(mutex_);
    lines.swap(pending_);
  }
  if (!at_line_start_) lines.insert(0, 1, L'\n');
  at_line_start_ = true;
  control_->AppendText(control_text(std::move(lines)));
  control_->ShowPosition(control_->GetLastPosition());
  control_->Update();
}

}  // namespace zendro::packages_ui
