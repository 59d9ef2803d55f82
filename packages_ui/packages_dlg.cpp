#include "packages_ui/packages_dlg.h"

#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <wx/animate.h>
#include <wx/button.h>
#include <wx/mstream.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/utils.h>
#include <wx/xml/xml.h>
#include <wx/xrc/xmlres.h>

#include "framework/system/system_error.h"
#include "msg/shown.h"
#include "packages_ui/dialog_questions.h"
#include "packages_ui/embedded_files.h"
#include "packages_ui/native_text.h"
#include "packages_ui/pictures.h"
#include "packages_ui/selection/button_states.h"
#include "packages_ui/selection/pending_changes.h"
#include "packages_ui/selection/shown_text.h"
#include "packages_ui/selection/ui_messages.h"
#include "packages_ui/window_placement.h"

namespace zendro::packages_ui {
namespace {

constexpr char kFormName[] = "IDD_PACKAGESUI_PACKAGESDLG";
// In device-independent pixels.
constexpr int kInitialWidth = 960;
constexpr int kInitialHeight = 760;
constexpr int kFormBorder = 8;

// Makes the form known to the toolkit, with the numbers of its controls. Once per process.
void register_form() {
  static bool registered = false;
  if (std::exchange(registered, true)) return;
  const std::pair<const char*, int> kIds[] = {{"btnPatch", kIdPatch},
                                              {"btnClear", kIdClear},
                                              {"btnReset", kIdReset},
                                              {"OK", kIdApply},
                                              {"Cancel", kIdClose}};
  for (const auto& [name, id] : kIds) wxXmlResource::GetXRCID(name, id);

  wxXmlResource::Get()->InitAllHandlers();
  const auto bytes = embedded_file("packages_dlg");
  wxMemoryInputStream stream(bytes.data(), bytes.size());
  auto document = std::make_unique<wxXmlDocument>(stream);
  if (!document->IsOk() || !wxXmlResource::Get()->LoadDocument(document.release())) {
    throw std::runtime_error("The form of the window cannot be read.");
  }
}

}  // namespace

class PackagesDlg::PaneLog : public msg::LogHandler {
 public:
  explicit PaneLog(PackagesDlg* dialog) : dialog_(dialog) {}
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view line) override {
    dialog_->pane_->append_line(line);
  }

 private:
  PackagesDlg* dialog_;
};

PackagesDlg::PackagesDlg(wxWindow* parent, std::shared_ptr<pkg::pkg_cache_t> cache,
                         std::shared_ptr<framework::ActionPoster> window_thread,
                         Preselection preselection, std::filesystem::path state_file)
    : cache_(std::move(cache)),
      preselection_(std::move(preselection)),
      state_file_(std::move(state_file)),
      state_(state_file_.empty() ? std::nullopt : read_window_state(state_file_)),
      questions_(std::make_unique<DialogQuestions>(this)),
      work_(std::make_unique<BackgroundWork>(
          cache_, std::make_shared<PaneLog>(this),
          [this](std::wstring_view text) { pane_->append_line(text); },
          [this](const pkg::progress_t& progress) { progress_->report(progress); },
          [this](const std::optional<pkg::waiting_t>& waiting) { show_wait(waiting); })),
      // Runs while the controls are made. Where no thread can be made, get() runs it later.
      cached_(std::async([this] { return work_->load_cached_at_once(); })) {
  register_form();
  load_form(parent);
  post_ = post_to_window(*this, alive_, std::move(window_thread));
  create_controls();
  bind_events();
}

PackagesDlg::~PackagesDlg() {
  alive_.reset();
  // The toolkit destroys the grid after the selection that it shows.
  grid_->show_nothing();
}

void PackagesDlg::load_form(wxWindow* parent) {
  if (!wxXmlResource::Get()->LoadDialog(this, parent, kFormName)) {
    throw std::runtime_error("The form of the window cannot be read.");
  }
  if (GetHandle() == nullptr) throw std::runtime_error("The system refuses a window.");
  SetAffirmativeId(kIdApply);
  SetEscapeId(kIdClose);
}

void PackagesDlg::create_controls() {
  auto* output = XRCCTRL(*this, "edtOutput", wxTextCtrl);
  make_accessible(*output, "Output");
  pane_ = std::make_unique<OutputPane>(output, post_);

  grid_ = new PackagesRelDisp(this, kIdTreePackages, [this] { return caption_of(kIdPatch); });
  put_in_place("treePackages", grid_);
  search_ = new SearchField(this, *grid_, kFormBorder);

  auto* animation = new wxAnimationCtrl(this, kIdProgress);
  put_in_place("aniProgress", animation);
  progress_ = std::make_unique<ProgressDisplay>(animation,
                                                XRCCTRL(*this, "txtProgress", wxStaticText), post_);

  set_smallest_size(*this, grid_);
  place_window(*this, *grid_, state_, wxSize(kInitialWidth, kInitialHeight));
}

// Puts a control that the form cannot make into the place that the form keeps free for it. It
// becomes a child of the window itself, where other programs find it by its number like the other
// controls.
void PackagesDlg::put_in_place(const char* name, wxWindow* control) {
  wxWindow* place = FindWindowByName(wxString(name) + "_container", this);
  control->SetName(name);
  control->MoveBeforeInTabOrder(place);
  GetSizer()->Replace(place, control, true);
  control->SetMinSize(place->GetMinSize());
  place->SetContainingSizer(nullptr);
  place->Destroy();
}

void PackagesDlg::bind_events() {
  Bind(wxEVT_INIT_DIALOG, &PackagesDlg::OnInitDialog, this);
  Bind(wxEVT_CLOSE_WINDOW, &PackagesDlg::OnClose, this);
  Bind(wxEVT_CHAR_HOOK, &PackagesDlg::OnCharHook, this);
  const auto on_button = [this](int id, std::function<void()> action) {
    Bind(
        wxEVT_BUTTON, [action = std::move(action)](wxCommandEvent&) { action(); }, id);
  };
  on_button(kIdApply, [this] { OnOK(); });
  on_button(kIdClose, [this] { Close(); });
  on_button(kIdPatch, [this] { selection_->choose_all_patches(); });
  on_button(kIdClear, [this] { selection_->deselect_all(); });
  on_button(kIdReset, [this] { selection_->reset(); });
}

void PackagesDlg::OnInitDialog(wxInitDialogEvent& event) {
  event.Skip();
  SetIcons(program_icons());
  SetTitle(wxString(window_caption(cache_->type())));
  pane_->clear();
  pane_->append_line(ui_message(UiCode::PackageUIUpdating));
  start(
      [this, post = post_] {
        // The user can look at the lists on disk while they are brought up to date.
        const auto cached = std::make_shared<LoadedPackages>(cached_.get());
        if (!cached->table) *cached = work_->load_cached();
        if (cached->complete) {
          post([this, cached] {
            provisional_ = true;
            show_loaded(std::move(cached->table));
          });
        }
        return work_->update_and_load(preselection_.package_file);
      },
      [this](LoadedPackages loaded) {
        provisional_ = false;
        if (!loaded.table) return;
        show_loaded(std::move(loaded.table), preselection_.identities);
        if (loaded.complete || !pending_changes(*selection_).empty()) {
          pane_->append_line(summary());
        }
      });
}

void PackagesDlg::OnOK() {
  if (!idle_ || selection_ == nullptr) return;
  const std::vector<pkg::filter_action> pairs = pending_actions(*selection_);
  if (pairs.empty()) return;
  pane_->clear();
  start([this, pairs] { return work_->apply_and_load(pairs); },
        [this, wishes = selection_->wishes()](LoadedPackages loaded) {
          if (!loaded.table) return;
          // After a failure the user still wants what was not done.
          show_loaded(std::move(loaded.table), {}, loaded.succeeded ? Wishes() : wishes);
        });
}

// Runs `operation` on the worker and `completion` with its result on the window thread.
void PackagesDlg::start(std::function<LoadedPackages()> operation,
                        std::function<void(LoadedPackages)> completion) {
  set_idle(false);
  disable_buttons();
  try {
    thread_ = std::jthread(
        [this, operation = std::move(operation), completion = std::move(completion), post = post_] {
          // Shared, because a posted action is copied and a table is not.
          const auto loaded = std::make_shared<LoadedPackages>(operation());
          post([this, loaded, completion] {
            pane_->show_pending();
            set_idle(true);
            const wxBusyCursor busy;
            completion(std::move(*loaded));
            // A later summary would come above a line that is not shown yet.
            pane_->show_pending();
            update_buttons();
          });
        });
  } catch (const std::system_error& error) {
    pane_->append_line(msg::shown(framework::exception_text(error)));
    set_idle(true);
    update_buttons();
  }
}

// On the thread of the operation.
void PackagesDlg::show_wait(const std::optional<pkg::waiting_t>& waiting) {
  if (waiting) {
    pane_->append_line(waiting_text(*waiting));
    pane_->append_line(ui_message(UiCode::PackageUIWaitingMayClose));
  }
  post_([this, can_close = waiting.has_value()] { enable(kIdClose, can_close); });
}

void PackagesDlg::show_loaded(std::unique_ptr<PackageTable> table,
                              const std::vector<std::string>& preselection, const Wishes& wishes) {
  filling_ = true;
  auto selection = std::make_unique<Selection>(std::move(table), *questions_, *this);
  selection->restore(wishes);
  if (!preselection.empty()) selection->preselect(preselection);
  grid_->show(*selection);
  selection_ = std::move(selection);
  filling_ = false;
}

void PackagesDlg::OnClose(wxCloseEvent& event) {
  if (!idle_ && event.CanVeto() && !cache_->stop_waiting()) {
    event.Veto();
    return;
  }
  if (!state_file_.empty()) {
    // A failure only means that the window opens as it did last time, so it is not reported.
    write_window_state(state_file_, current_window_state(*this, *grid_, state_));
  }
  if (IsModal()) {
    EndModal(kIdClose);
  } else {
    Hide();
  }
}

void PackagesDlg::OnCharHook(wxKeyEvent& event) {
  if (search_->handle_key(event)) return;
  const int key = event.GetKeyCode();
  if (event.GetModifiers() == wxMOD_NONE) {
    if (key == WXK_ESCAPE) {
      Close();
      return;
    }
    if ((key == WXK_RETURN || key == WXK_NUMPAD_ENTER) &&
        dynamic_cast<wxButton*>(FindFocus()) == nullptr) {
      if (FindWindow(kIdApply)->IsEnabled()) OnOK();
      return;
    }
    if (grid_has_focus()) {
      if (key == WXK_SPACE) {
        // The change may open a message box, which must not happen inside the key's event.
        CallAfter([this] { grid_->toggle_current(); });
        return;
      }
    }
  }
  event.Skip();
}

bool PackagesDlg::grid_has_focus() const {
  const wxWindow* focus = FindFocus();
  return focus != nullptr && (focus == grid_ || grid_->IsDescendant(const_cast<wxWindow*>(focus)));
}

void PackagesDlg::selection_changed() {
  if (filling_) return;
  grid_->selection_changed();
  pane_->replace(summary());
  update_buttons();
}

void PackagesDlg::report(const msg::Message& message) {
  // The packages are read again after the update; what is still wrong then is reported then.
  if (!provisional_) pane_->append_line(shown_text(message));
}

void PackagesDlg::update_buttons() {
  const ButtonStates states = selection_ ? button_states(*selection_) : ButtonStates{};
  enable(kIdApply, states.changed);
  enable(kIdReset, states.changed);
  enable(kIdClear, states.any_checked);
  enable(kIdPatch, states.patchable);
  enable(kIdClose, true);
  FindWindow(kIdClose)->SetLabel(wxString(
      ui_message(states.changed ? UiCode::PackageUIButtonCancel : UiCode::PackageUIButtonClose)));
}

void PackagesDlg::disable_buttons() {
  for (const int id : {kIdApply, kIdClose, kIdReset, kIdClear, kIdPatch}) enable(id, false);
}

// When the button with the keyboard focus is disabled, the focus goes to the grid. The toolkit
// would move it to the next button.
void PackagesDlg::enable(int id, bool enabled) {
  wxWindow* button = FindWindow(id);
  if (!enabled && button->HasFocus()) grid_->SetFocus();
  button->Enable(enabled);
}

void PackagesDlg::set_idle(bool idle) {
  idle_ = idle;
  grid_->set_locked(!idle);
  if (idle) {
    progress_->stop();
  } else {
    progress_->start();
  }
}

std::wstring PackagesDlg::caption_of(int id) const {
  return dynamic_cast<const wxButton&>(*FindWindow(id)).GetLabelText().ToStdWstring();
}

std::wstring PackagesDlg::summary() const {
  return summary_text(*selection_, caption_of(kIdApply));
}

}  // namespace zendro::packages_ui
