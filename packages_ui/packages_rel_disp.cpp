#include "packages_ui/packages_rel_disp.h"

#include <utility>

#include <wx/menu.h>
#include <wx/time.h>
#include <wx/utils.h>
#include <wx/wupdlock.h>

#include "packages_ui/row_text.h"
#include "packages_ui/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// A double click on a box arrives as toggles and then as an activation of the row; an activation
// this soon after a toggle, in milliseconds, belongs to it.
constexpr int kDoubleClickTime = 600;

constexpr int kSmallestRowHeight = 10;  // in device-independent pixels

class Flag {
 public:
  explicit Flag(bool& flag) : flag_(flag) { flag_ = true; }
  ~Flag() { flag_ = false; }
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;

 private:
  bool& flag_;
};

}  // namespace

PackagesRelDisp::PackagesRelDisp(wxWindow* parent, std::function<std::wstring()> patch_caption)
    : wxDataViewCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize,
                     wxDV_SINGLE | wxDV_ROW_LINES | wxBORDER_THEME),
      patch_caption_(std::move(patch_caption)) {
  add_columns();
  Bind(wxEVT_DATAVIEW_ITEM_EXPANDED,
       [this](wxDataViewEvent& event) { remember_expansion(event.GetItem(), true); });
  Bind(wxEVT_DATAVIEW_ITEM_COLLAPSED,
       [this](wxDataViewEvent& event) { remember_expansion(event.GetItem(), false); });
  Bind(wxEVT_DATAVIEW_ITEM_ACTIVATED,
       [this](wxDataViewEvent& event) { choose_patch(event.GetItem()); });
  Bind(wxEVT_DATAVIEW_ITEM_CONTEXT_MENU, [this](wxDataViewEvent&) { OwnPopupMenu(); });
  Bind(wxEVT_CONTEXT_MENU, [this](wxContextMenuEvent& event) {
    // Asked for by key; a click comes as the event above.
    if (event.GetPosition() == wxDefaultPosition) {
      OwnPopupMenu();
    } else {
      event.Skip();
    }
  });
  GetMainWindow()->Bind(wxEVT_MOTION, &PackagesRelDisp::update_datatip, this);
}

void PackagesRelDisp::add_columns() {
  const auto caption = [](msg::Code code) {
    wxString text(std::wstring(msg::message_text(static_cast<int>(code))));
    return text.Left(1).Upper() + text.Mid(1);
  };
  const auto add = [this](const wxString& title, wxDataViewRenderer* renderer, unsigned column,
                          int width) {
    renderer->EnableEllipsize(wxELLIPSIZE_END);
    auto* added = new wxDataViewColumn(title, renderer, column, FromDIP(width), wxALIGN_LEFT,
                                       wxDATAVIEW_COL_RESIZABLE);
    AppendColumn(added);
    return added;
  };
  SetExpanderColumn(add(caption(msg::Code::label_name), new wxDataViewCheckIconTextRenderer(),
                        PackagesViewbase::kPackage, 270));
  add(caption(msg::Code::label_title), new wxDataViewTextRenderer(), PackagesViewbase::kTitle, 220);
  add("State", new wxDataViewTextRenderer(), PackagesViewbase::kState, 210);
  add(caption(msg::Code::label_publisher), new wxDataViewTextRenderer(),
      PackagesViewbase::kPublisher, 150);
}

void PackagesRelDisp::show(Selection& selection) {
  const std::wstring current = row_text(GetCurrentItem());
  selection_ = &selection;
  datatip_item_ = {};
  // The view is complete before the control gets it: rows added one by one take far longer.
  wxObjectDataPtr<PackagesViewbase> view(
      new PackagesViewbase(selection, [this](const wxDataViewItem& item) {
        toggled_item_ = item;
        toggled_at_ = wxGetLocalTimeMillis();
        // The change may ask a question, which must not happen inside the control's own handler.
        CallAfter([this, item] { toggle(item); });
      }));
  AssociateModel(view.get());
  restore_place(current);
}

void PackagesRelDisp::show_nothing() {
  AssociateModel(nullptr);
  selection_ = nullptr;
}

void PackagesRelDisp::selection_changed() {
  // Rows are read when they are drawn, so only those in sight have to be told of the change.
  wxDataViewItem last;
  wxDataViewItem item;
  wxDataViewColumn* column = nullptr;
  const int step = FromDIP(kSmallestRowHeight);
  for (int y = 0; y < GetClientSize().y + step; y += step) {
    HitTest(wxPoint(step, y), item, column);
    if (item.IsOk() && item != last) GetModel()->ItemChanged(item);
    last = item;
  }
}

std::wstring PackagesRelDisp::row_text(const wxDataViewItem& item) const {
  if (selection_ == nullptr) return {};
  if (const auto package = PackagesViewbase::package_of(item)) {
    return selection_->table().name(*package);
  }
  const auto row = PackagesViewbase::version_of(item);
  return row ? selection_->table().text(*row) : std::wstring();
}

void PackagesRelDisp::restore_place(const std::wstring& current) {
  const std::set<std::wstring> expanded = std::exchange(expanded_, {});
  const PackageTable& table = selection_->table();
  wxDataViewItem current_item;
  for (PackageId package = 0; package < table.package_count(); ++package) {
    const wxDataViewItem item = PackagesViewbase::package_item(package);
    const std::wstring name = table.name(package);
    if (name == current) current_item = item;
    if (!selection_->expanded(package) && expanded.count(name) == 0) continue;
    Expand(item);
    const PackageTable::Range range = table.versions_of(package);
    for (RowId row = range.first; row < range.end; ++row) {
      if (table.text(row) == current) current_item = PackagesViewbase::version_item(row);
    }
  }
  if (!current_item.IsOk()) return;
  SetCurrentItem(current_item);
  EnsureVisible(current_item);
}

void PackagesRelDisp::remember_expansion(const wxDataViewItem& item, bool expanded) {
  if (expanded) {
    expanded_.insert(row_text(item));
  } else {
    expanded_.erase(row_text(item));
  }
}

void PackagesRelDisp::toggle_current() { toggle(GetCurrentItem()); }

void PackagesRelDisp::toggle(const wxDataViewItem& item) {
  if (selection_ == nullptr || locked_ || changing_) return;
  const Flag changing(changing_);
  if (const auto row = PackagesViewbase::version_of(item)) {
    selection_->toggle_version(*row);
  } else if (const auto package = PackagesViewbase::package_of(item)) {
    const bool expanded_before = selection_->expanded(*package);
    selection_->toggle_package(*package);
    if (!expanded_before && selection_->expanded(*package)) Expand(item);
  }
}

void PackagesRelDisp::choose_patch(const wxDataViewItem& item) {
  const auto row = PackagesViewbase::version_of(item);
  if (!row || selection_ == nullptr || locked_ || changing_) return;
  if (item == toggled_item_ && wxGetLocalTimeMillis() - toggled_at_ < kDoubleClickTime) return;
  selection_->choose_patch(*row);
}

template <typename Visit>
void PackagesRelDisp::for_each_package(Visit visit) {
  if (selection_ == nullptr) return;
  const std::size_t count = selection_->table().package_count();
  const wxWindowUpdateLocker lock(this);
  for (PackageId package = 0; package < count; ++package) {
    visit(PackagesViewbase::package_item(package),
          selection_->package_check(package) != PackageCheck::none);
  }
}

void PackagesRelDisp::expand_all() {
  for_each_package([this](const wxDataViewItem& item, bool) { Expand(item); });
}

void PackagesRelDisp::collapse_all() {
  for_each_package([this](const wxDataViewItem& item, bool) { Collapse(item); });
}

void PackagesRelDisp::expand_selected() {
  for_each_package([this](const wxDataViewItem& item, bool checked) {
    if (checked) Expand(item);
  });
}

void PackagesRelDisp::collapse_unselected() {
  for_each_package([this](const wxDataViewItem& item, bool checked) {
    if (!checked) Collapse(item);
  });
}

void PackagesRelDisp::OwnPopupMenu() {
  struct Command {
    UiCode text;
    void (PackagesRelDisp::*run)();
  };
  constexpr Command kCommands[] = {
      {UiCode::PackageUICommandExpandAll, &PackagesRelDisp::expand_all},
      {UiCode::PackageUICommandCollapseAll, &PackagesRelDisp::collapse_all},
      {UiCode::PackageUICommandExpandSelected, &PackagesRelDisp::expand_selected},
      {UiCode::PackageUICommandCollapseUnselected, &PackagesRelDisp::collapse_unselected},
  };
  wxMenu menu;
  for (const Command& command : kCommands) {
    const int id = menu.Append(wxID_ANY, wxString(ui_message(command.text)))->GetId();
    menu.Bind(
        wxEVT_MENU, [this, command](wxCommandEvent&) { (this->*command.run)(); }, id);
  }
  PopupMenu(&menu);
}

void PackagesRelDisp::update_datatip(wxMouseEvent& event) {
  event.Skip();
  if (selection_ == nullptr) return;
  // The position of the event leaves the header out on some systems, this one never does.
  wxDataViewItem item;
  wxDataViewColumn* column = nullptr;
  HitTest(ScreenToClient(wxGetMousePosition()), item, column);
  if (item == datatip_item_) return;
  datatip_item_ = item;
  const auto row = PackagesViewbase::version_of(item);
  GetMainWindow()->SetToolTip(row ? wxString(datatip_text(*selection_, *row, patch_caption_()))
                                  : wxString());
}

}  // namespace zendro::packages_ui
