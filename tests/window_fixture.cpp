#include "tests/window_fixture.h"

#include <chrono>

#include <wx/app.h>
#include <wx/button.h>

namespace zendro::tests {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(60);
constexpr int kSettleRounds = 10;
constexpr int kRoundMilliseconds = 10;

std::string name_of_row(const wxDataViewModel& model, const wxDataViewItem& item,
                        wxCheckBoxState* checked = nullptr) {
  wxVariant value;
  model.GetValue(value, item, number_of(packages_ui::kBoxColumn));
  wxDataViewCheckIconText cell;
  cell << value;
  if (checked != nullptr) *checked = cell.GetCheckedState();
  return cell.GetText().utf8_string();
}

// All rows, packages before their versions.
std::vector<wxDataViewItem> items_of(const wxDataViewModel& model) {
  std::vector<wxDataViewItem> items;
  wxDataViewItemArray packages;
  model.GetChildren(wxDataViewItem(), packages);
  for (const wxDataViewItem& package : packages) {
    items.push_back(package);
    wxDataViewItemArray versions;
    model.GetChildren(package, versions);
    items.insert(items.end(), versions.begin(), versions.end());
  }
  return items;
}

}  // namespace

// A message that was there when the loop asked may be gone when it fetches it (a move of the mouse
// over a window that is hidden); the loop then waits for the next one, which has to come.
WindowLoop::WindowLoop() : window_thread_(app::make_window_thread()) {
  heartbeat_.Start(2 * kRoundMilliseconds);
}

void WindowLoop::work() {
  wxTheApp->ProcessPendingEvents();
  loop_.YieldFor(wxEVT_CATEGORY_ALL);
  loop_.ProcessIdle();
  wxMilliSleep(kRoundMilliseconds);
}

void WindowLoop::settle() {
  for (int round = 0; round < kSettleRounds; ++round) work();
}

void WindowLoop::wait_until(const std::function<bool()>& condition, const std::string& what) {
  const auto end = Clock::now() + kPatience;
  while (!condition()) {
    ASSERT_LT(Clock::now(), end) << "waited in vain: " << what << "; shown is:\n"
                                 << what_is_shown();
    work();
  }
}

void WindowLoop::press(int key, int modifiers) {
  simulator_.Char(key, modifiers);
  settle();
}

void WindowLoop::take_keyboard(wxTopLevelWindow& window, wxWindow& control) {
  // Without a window manager nobody else gives the window the keyboard.
  window.Raise();
  settle();
  wait_until([&window] { return window.IsActive(); }, "the window has the keyboard");
  control.SetFocus();
  settle();
}

WindowTest::WindowTest(std::string type)
    : ManagerTest(type), window_cache_(std::make_shared<pkg::pkg_cache_t>(type, options_)) {}

WindowTest::~WindowTest() { close(); }

void WindowTest::open(std::vector<std::string> identities, std::string package_file) {
  close();
  dialog_ = std::make_unique<packages_ui::PackagesDlg>(
      nullptr, window_cache_, window_thread(),
      packages_ui::Preselection{std::move(identities), std::move(package_file)}, state_file());
  dialog_->Show();
}

void WindowTest::open_and_wait(std::vector<std::string> identities, std::string package_file) {
  open(std::move(identities), std::move(package_file));
  wait_idle();
  take_keyboard();
}

void WindowTest::close() {
  if (!dialog_) return;
  if (dialog_->IsShown()) {
    dialog_->Hide();
    settle();
  }
  dialog_.reset();
  settle();
}

void WindowTest::wait_idle() {
  wait_until([this] { return dialog_->idle(); }, "the dialog is idle");
  settle();
}

void WindowTest::wait_for_pane(const std::string& text) {
  wait_until([&] { return pane() == text; }, "the pane shows: " + text);
}

void WindowTest::wait_for_operation(const std::string& line) {
  wait_until([&] { return dialog_->idle() && pane().find(line) != std::string::npos; },
             "the pane has the line: " + line);
  settle();
}

void WindowTest::press_in_question(const std::function<void()>& action,
                                   std::vector<std::pair<int, int>> keys) {
  wxTimer timer;
  auto next = keys.begin();
  timer.Bind(wxEVT_TIMER, [&](wxTimerEvent&) {
    if (next == keys.end()) return;
    simulator().Char(next->first, next->second);
    ++next;
  });
  constexpr int kQuestionIsOpen = 500;  // milliseconds
  timer.Start(kQuestionIsOpen);
  action();
  wait_until([&] { return next == keys.end(); }, "the questions are answered");
  take_keyboard();
}

void WindowTest::go_to(const std::string& text) {
  const wxDataViewItem item = find(text);
  grid().EnsureVisible(item);
  grid().SetCurrentItem(item);
  settle();
}

wxDataViewCtrl& WindowTest::grid() const {
  return dynamic_cast<wxDataViewCtrl&>(*dialog_->FindWindow(packages_ui::kIdTreePackages));
}

wxDataViewColumn* WindowTest::column(packages_ui::GridColumn column) const {
  return grid().GetColumn(number_of(column));
}

wxDataViewItem WindowTest::find(const std::string& text) const {
  const wxDataViewModel& model = *grid().GetModel();
  for (const wxDataViewItem& item : items_of(model)) {
    if (name_of_row(model, item) == text) return item;
  }
  ADD_FAILURE() << "no row " << text;
  return {};
}

std::filesystem::path WindowTest::state_file() const {
  return folder_.path() / "config" / "window.json";
}

std::string WindowTest::pane() const {
  const auto* output =
      dynamic_cast<wxTextCtrl*>(wxWindow::FindWindowByName("edtOutput", dialog_.get()));
  return output->GetValue().utf8_string();
}

std::vector<std::string> WindowTest::rows() const {
  std::vector<std::string> rows;
  const wxDataViewModel* model = grid().GetModel();
  if (model == nullptr) return rows;
  for (const wxDataViewItem& item : items_of(*model)) {
    wxCheckBoxState checked = wxCHK_UNCHECKED;
    const std::string name = name_of_row(*model, item, &checked);
    const char* box = checked == wxCHK_CHECKED        ? "[x] "
                      : checked == wxCHK_UNDETERMINED ? "[-] "
                                                      : "[ ] ";
    rows.push_back((model->IsContainer(item) ? "" : "  ") + std::string(box) + name);
  }
  return rows;
}

std::string WindowTest::state_of(const std::string& text) const {
  wxVariant value;
  grid().GetModel()->GetValue(value, find(text), number_of(packages_ui::GridColumn::state));
  return value.GetString().utf8_string();
}

std::vector<std::string> WindowTest::live_buttons() const {
  std::vector<std::string> captions;
  for (const int id : {packages_ui::kIdPatch, packages_ui::kIdClear, packages_ui::kIdReset,
                       packages_ui::kIdApply, packages_ui::kIdClose}) {
    const auto* button = dynamic_cast<wxButton*>(dialog_->FindWindow(id));
    if (button->IsEnabled()) captions.push_back(button->GetLabelText().utf8_string());
  }
  return captions;
}

}  // namespace zendro::tests
