#include "packages_ui/output_pane.h"

#include <utility>

#include "msg/shown.h"
#include "packages_ui/native_text.h"

namespace zendro::packages_ui {
namespace {

// In characters. The control takes in so many without a delay that a user would notice.
constexpr std::size_t kBatch = 64 << 10;
// More than fits the pane, and little, since some controls measure all lines before they show one.
constexpr std::size_t kFirstBatch = 16 << 10;

// Takes whole lines off the front of the text, up to the first one that reaches `limit`.
std::wstring take_lines(std::wstring& text, std::size_t limit) {
  const std::size_t line_end = text.find(L'\n', limit);
  if (line_end == std::wstring::npos) return std::exchange(text, {});
  std::wstring lines = text.substr(0, line_end + 1);
  text.erase(0, line_end + 1);
  return lines;
}

// The control breaks lines at "\n" and writes it as the system does.
wxString control_text(std::wstring_view text) { return wxString(msg::shown_lines(text)); }

}  // namespace

OutputPane::OutputPane(wxTextCtrl* control, PostAction post)
    : control_(control), flush_(std::move(post), [this] { flush(kBatch); }) {}

void OutputPane::append_line(std::wstring_view line) {
  {
    const std::lock_guard lock(mutex_);
    pending_ += line;
    pending_ += L'\n';
  }
  flush_.request();
}

void OutputPane::replace(std::wstring text) {
  at_line_start_ = text.empty();
  following_ = true;
  scroll_position_ = 0;
  control_->ChangeValue(control_text(take_lines(text, kFirstBatch)));
  control_->Update();
  rest_ = std::move(text);
  if (!rest_.empty()) flush_.request();
}

void OutputPane::flush(std::size_t limit) {
  if (!rest_.empty()) {
    // The user reads its beginning, so the view stays there.
    append_quietly(*control_, control_text(take_lines(rest_, limit)));
  }
  if (rest_.empty()) {
    show_lines(limit);
  } else {
    flush_.request();
  }
  control_->Update();
}

void OutputPane::show_lines(std::size_t limit) {
  std::wstring lines;
  {
    const std::lock_guard lock(mutex_);
    lines = take_lines(pending_, limit);
    if (!pending_.empty()) flush_.request();
  }
  if (lines.empty()) return;
  if (!at_line_start_) lines.insert(0, 1, L'\n');
  at_line_start_ = true;

  const wxString text = control_text(lines);
  if (follows_newest_line()) {
    append_and_follow(*control_, text);
  } else {
    append_quietly(*control_, text);
  }
}

// The control scrolls to a line some time after it was told to, so a position short of the end does
// not mean that the user has left it; one above an earlier position does.
bool OutputPane::follows_newest_line() {
  const int position = control_->GetScrollPos(wxVERTICAL);
  if (shows_end(*control_)) {
    following_ = true;
  } else if (position < scroll_position_) {
    following_ = false;
  }
  scroll_position_ = position;
  return following_;
}

}  // namespace zendro::packages_ui
