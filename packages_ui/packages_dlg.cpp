#include "packages_ui/packages_dlg.h"

#include <memory>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <wx/animate.h>
#include <wx/button.h>
#include <wx/iconbndl.h>
#include <wx/mstream.h>
#include <wx/sizer.h>
#include <wx/stattext.h>
#include <wx/utils.h>
#include <wx/xml/xml.h>
#include <wx/xrc/xmlres.h>

#include "msg/utf.h"
#include "packages_ui/button_states.h"
#include "packages_ui/dialog_questions.h"
#include "packages_ui/embedded_files.h"
#include "packages_ui/native_text.h"
#include "packages_ui/pending_changes.h"
#include "packages_ui/pictures.h"
#include "packages_ui/shown_text.h"
#include "packages_ui/ui_messages.h"
#include "packages_ui/window_placement.h"

namespace zendro::packages_ui {
namespace {

constexpr char kFormName[] = "IDD_PACKAGESUI_PACKAGESDLG";
// In device-independent pixels.
constexpr int kInitialWidth = 960;
constexpr int kInitialHeight = 760;
constexpr int kIconSize = 32;
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

// For the caption, the switcher of windows and the bar of tasks, with coarse pixels and fine ones.
wxIconBundle icons() {
  const wxBitmapBundle drawing = picture("PackageManager_cmd", kIconSize);
  wxIconBundle icons;
  for (const int size : {16, 20, 24, 32, 40, 48, 64}) {
    icons.AddIcon(drawing.GetIcon(wxSize(size, size)));
  }
  return icons;
}

}  // namespace

class PackagesDlg::LogHandler : public msg::LogHandler {
 public:
  explicit LogHandler(PackagesDlg* dialog) : dialog_(dialog) {}
  void handle_line(std::int64_t, std::wstring_view, std::wstring_view line) override {
    dialog_->pane_->append_line(line);
  }

 private:
  PackagesDlg* dialog_;
};

PackagesDlg::PackagesDlg(wxWindow* parent, std::shared_ptr<pkg::pkg_cache_t> cache,
                         std::shared_ptr<framework::ActionPoster> window_thread,
                         std::vector<std::string> preselection, std::filesystem::path state_file)
    : cache_(std::move(cache)),
      preselection_(std::move(preselection)),
      state_file_(std::move(state_file)),
      state_(state_file_.empty() ? std::nullopt : read_window_state(state_file_)),
      questions_(std::make_unique<DialogQuestions>(this)),
      operations_(std::make_unique<Operations>(
          cache_, std::make_shared<LogHandler>(this),
          [this](std::wstring_view text) { pane_->append_line(text); },
          [this](const pkg::progress_t& progress) { progress_->report(progress); })),
      // Read while the controls are made; on this thread later on where there is no other.
      cached_(std::async([this] { return operations_->load_cached(); })) {
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

// Puts a control that is ours to make into the empty place that the form has for it. It becomes a
// child of the window itself like those that the form makes, for other programs to find by number.
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
  SetIcons(icons());
  SetTitle(wxString(ui_message(cache_->type() == "xbrl" ? UiCode::PackageUICaptionTaxonomy
                                                        : UiCode::PackageUICaptionSchema)));
  pane_->clear();
  pane_->append_line(ui_message(UiCode::PackageUIUpdating));
  start(
      [this, post = post_] {
        // What is known already can be looked at while the store is asked for news.
        const auto cached = std::make_shared<LoadedPackages>(cached_.get());
        if (cached->complete) {
          post([this, cached] {
            provisional_ = true;
            show_loaded(std::move(cached->table));
          });
        }
        return operations_->update_and_load();
      },
      [this](LoadedPackages loaded) {
        provisional_ = false;
        if (!loaded.table) return;
        show_loaded(std::move(loaded.table), preselection_);
        if (loaded.complete || !pending_changes(*selection_).empty()) {
          pane_->append_line(summary());
        }
      });
}

void PackagesDlg::OnOK() {
  if (!idle_ || selection_ == nullptr) return;
  const std::vector<pkg::filter_action_t> pairs = requests(*selection_);
  if (pairs.empty()) return;
  pane_->clear();
  start([this, pairs] { return operations_->apply_and_load(pairs); },
        [this](LoadedPackages loaded) {
          if (loaded.table) show_loaded(std::move(loaded.table));
        });
}

// Runs `operation` on the worker and `completion` with its result on the window thread.
void PackagesDlg::start(std::function<LoadedPackages()> operation,
                        std::function<void(LoadedPackages)> completion) {
  set_idle(false);
  disable_buttons();
  try {
    worker_.start(
        [this, operation = std::move(operation), completion = std::move(completion), post = post_] {
          // Shared, because a posted action is copied and a table is not.
          const auto loaded = std::make_shared<LoadedPackages>(operation());
          post([this, loaded, completion] {
            pane_->show_pending();
            set_idle(true);
            const wxBusyCursor busy;
            completion(std::move(*loaded));
            update_buttons();
          });
        });
  } catch (const std::system_error& error) {
    pane_->append_line(msg::to_wide(error.what()));
    set_idle(true);
    update_buttons();
  }
}

void PackagesDlg::show_loaded(std::unique_ptr<PackageTable> table,
                              const std::vector<std::string>& preselection) {
  filling_ = true;
  auto selection = std::make_unique<Selection>(std::move(table), *questions_, *this);
  if (!preselection.empty()) selection->preselect(preselection);
  grid_->show(*selection);
  selection_ = std::move(selection);
  filling_ = false;
}

void PackagesDlg::OnClose(wxCloseEvent& event) {
  if (!idle_ && event.CanVeto()) {
    event.Veto();
    return;
  }
  if (!state_file_.empty()) {
    // Where it cannot be kept, the window opens as before; the user need not hear of that.
    write_window_state(state_file_, window_state(*this, *grid_, state_));
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
        // The change may ask a question, which must not happen while a key is under way.
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
  // What is still wrong after the update is said then.
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

// The keyboard goes from a button that is disabled to the grid, not to whatever button is next.
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
