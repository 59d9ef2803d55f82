#include "packages_ui/start_window.h"

#include <future>
#include <optional>
#include <thread>
#include <utility>

#include <wx/evtloop.h>
#include <wx/sizer.h>

#include "packages_ui/pictures.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// In milliseconds. Work that ends sooner shows no window.
constexpr int kShownAfter = 500;
constexpr int kRefreshPeriod = 100;

constexpr int kGaugeRange = 1000;
// In device-independent pixels.
constexpr int kWindowWidth = 560;
constexpr int kBorder = 12;
constexpr int kGap = 6;

}  // namespace

StartWindow::StartWindow(const std::wstring& caption,
                         std::shared_ptr<framework::ActionPoster> window_thread)
    : wxDialog(nullptr, wxID_ANY, wxString(caption), wxDefaultPosition, wxDefaultSize,
               wxCAPTION | wxSYSTEM_MENU | wxCLOSE_BOX),
      window_thread_(std::move(window_thread)) {
  SetIcons(program_icons());
  create_controls();
  SetEscapeId(wxID_CANCEL);
  cancel_->Bind(wxEVT_BUTTON, [this](wxCommandEvent&) { Close(); });
  Bind(wxEVT_CLOSE_WINDOW, [this](wxCloseEvent& event) {
    if (stop_ && stop_()) {
      tick_.Stop();
      Hide();
    } else if (event.CanVeto()) {
      event.Veto();
    }
  });
  tick_.Bind(wxEVT_TIMER, [this](wxTimerEvent&) { on_tick(); });
}

void StartWindow::create_controls() {
  const wxSize width = FromDIP(wxSize(kWindowWidth, -1));
  constexpr long kOneLine = wxST_NO_AUTORESIZE | wxST_ELLIPSIZE_MIDDLE;
  text_ = new wxStaticText(this, wxID_ANY, {}, wxDefaultPosition, width, kOneLine, "txtDoing");
  gauge_ = new wxGauge(this, wxID_ANY, kGaugeRange, wxDefaultPosition, width, wxGA_HORIZONTAL,
                       wxDefaultValidator, "gauge");
  details_ = new wxStaticText(this, wxID_ANY, {}, wxDefaultPosition, width, kOneLine, "txtDetails");

  auto* column = new wxBoxSizer(wxVERTICAL);
  column->Add(text_, wxSizerFlags().Expand());
  column->Add(gauge_, wxSizerFlags().Expand().Border(wxTOP | wxBOTTOM, FromDIP(kGap)));
  column->Add(details_, wxSizerFlags().Expand());
  cancel_ = new wxButton(this, wxID_CANCEL, wxString(ui_message(UiCode::PackageUIButtonCancel)));
  cancel_->Disable();
  column->Add(cancel_, wxSizerFlags().Right().Border(wxTOP, FromDIP(kGap)));
  auto* margin = new wxBoxSizer(wxVERTICAL);
  margin->Add(column, wxSizerFlags(1).Expand().Border(wxALL, FromDIP(kBorder)));
  SetSizerAndFit(margin);
  Centre();
}

void StartWindow::run(const std::function<void(const ShowStart&)>& work,
                      std::function<bool()> stop) {
  stop_ = std::move(stop);
  wxGUIEventLoop loop;
  // Tells the posted action whether the loop still exists; it may have ended by itself.
  const auto running = std::make_shared<bool>(true);
  std::packaged_task<void()> task(
      [&] { work([this](const StartProgress& start) { report(start); }); });
  std::future<void> result = task.get_future();
  const std::jthread worker([this, &task, &loop, is_running = std::weak_ptr<bool>(running)] {
    task();
    window_thread_->post([&loop, is_running] {
      if (!is_running.expired()) loop.ScheduleExit();
    });
  });
  tick_.StartOnce(kShownAfter);
  loop.Run();
  tick_.Stop();
  Hide();
  result.get();
}

void StartWindow::report(const StartProgress& start) {
  const std::lock_guard lock(mutex_);
  latest_ = start;
}

void StartWindow::on_tick() {
  StartProgress latest;
  {
    const std::lock_guard lock(mutex_);
    latest = latest_;
  }
  text_->SetLabelText(wxString(start_text(latest)));
  details_->SetLabelText(wxString(details_text(latest)));
  cancel_->Enable(!latest.progress);
  if (const std::optional<double> done = done_part(latest)) {
    gauge_->SetValue(static_cast<int>(*done * kGaugeRange));
  } else {
    gauge_->Pulse();
  }
  Show();
  tick_.StartOnce(kRefreshPeriod);
}

}  // namespace zendro::packages_ui
