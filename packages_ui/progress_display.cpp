#include "packages_ui/progress_display.h"

#include <utility>

#include "framework/text/version.h"
#include "packages_ui/progress_animation.h"
#include "packages_ui/selection/progress_text.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// In device-independent pixels.
constexpr int kPictureWidth = 60;
constexpr int kPictureHeight = 20;

wxString version_text() {
  const std::string_view version = framework::program_version();
  return wxString(
      ui_message(UiCode::PackageUIVersion, {{L"version", {version.begin(), version.end()}}}));
}

}  // namespace

ProgressDisplay::ProgressDisplay(wxAnimationCtrl* animation, wxStaticText* text, PostAction post)
    : animation_(animation), text_(text), show_(std::move(post), [this] { show_latest(); }) {
  animation_->SetAnimation(
      progress_animation(*animation_, animation_->FromDIP(wxSize(kPictureWidth, kPictureHeight))));
  animation_->InvalidateBestSize();  // it was found out without the picture
  animation_->Hide();
  text_->SetLabelText(version_text());
}

void ProgressDisplay::start() {
  {
    const std::lock_guard lock(mutex_);
    latest_ = {};
  }
  running_ = true;
  text_->SetLabelText({});
  animation_->Show();
  animation_->Play();
}

void ProgressDisplay::stop() {
  running_ = false;
  animation_->Stop();
  animation_->Hide();
  text_->SetLabelText(version_text());
}

void ProgressDisplay::report(const pkg::progress_t& progress) {
  {
    const std::lock_guard lock(mutex_);
    latest_ = progress;
  }
  show_.request();
}

void ProgressDisplay::show_latest() {
  if (!running_) return;
  pkg::progress_t latest;
  {
    const std::lock_guard lock(mutex_);
    latest = latest_;
  }
  const wxString text(progress_text(latest));
  if (text != text_->GetLabelText()) text_->SetLabelText(text);
}

}  // namespace zendro::packages_ui
