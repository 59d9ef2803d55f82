#include "packages_ui/packages_rel_disp.h"

#include <utility>

#include <wx/menu.h>
#include <wx/time.h>
#include <wx/utils.h>
#include <wx/wupdlock.h>

#include "packages_ui/native_tree.h"
#include "packages_ui/selection/grid_columns.h"
#include "packages_ui/selection/row_text.h"
#include "packages_ui/selection/shown_text.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// A double click on a box arrives as toggles and then as an activation of the row; an activation
// this soon after a toggle, in milliseconds, belongs to it.
constexpr int kDoubleClickTime = 600;

constexpr int kSmallestRowHeight = 10;  // in device-independent pixels

// Sets a flag for as long as it lives.
class ScopedFlag {
 public:
  explicit ScopedFlag(bool& flag) : flag_(flag) { flag_ = true; }
  ~ScopedFlag() { flag_ = false; }
  ScopedFlag(const ScopedFlag&) = delete;
  ScopedFlag& operator=(const ScopedFlag&) = delete;

 private:
  bool& flag_;
};

}  // namespace

PackagesRelDisp::PackagesRelDisp(wxWindow* parent, wxWindowID id,
                                 std::function<std::wstring()> patch_caption)
    : wxDataViewCtrl(parent, id, wxDefaultPosition, wxDefaultSize,
                     wxDV_SINGLE | wxDV_ROW_LINES | wxBORDER_THEME),
      patch_caption_(std::move(patch_caption)) {
  add_columns();
  native_tree::set_up(*this, *GetColumn(number_of(kBoxColumn)), "Packages");
  bind_events();
}

void PackagesRelDisp::bind_events() {
  Bind(wxEVT_DATAVIEW_ITEM_EXPANDED, [this](wxDataViewEvent& event) {
    if (const auto package = PackagesViewbase::package_of(event.GetItem())) {
      expanded_.insert(*package);
    }
  });
  Bind(wxEVT_DATAVIEW_ITEM_COLLAPSED, [this](wxDataViewEvent& event) {
    if (const auto package = PackagesViewbase::package_of(event.GetItem())) {
      expanded_.erase(*package);
    }
  });
  Bind(wxEVT_DATAVIEW_ITEM_ACTIVATED, &PackagesRelDisp::on_activated, this);
  Bind(wxEVT_DATAVIEW_COLUMN_HEADER_CLICK, [this](wxDataViewEvent& event) {
    const auto column = static_cast<GridColumn>(event.GetColumn());
    // The rows are replaced, which must not happen inside the control's handler.
    CallAfter([this, column] { sort_by(column); });
  });
  Bind(wxEVT_DATAVIEW_ITEM_CONTEXT_MENU, [this](wxDataViewEvent&) { OwnPopupMenu(); });
  Bind(wxEVT_CONTEXT_MENU, [this](wxContextMenuEvent& event) {
    // Asked for by key; a click comes as the event above.
    if (event.GetPosition() == wxDefaultPosition) {
      OwnPopupMenu();
    } else {
      event.Skip();
    }
  });
  GetMainWindow()->Bind(wxEVT_CHAR, &PackagesRelDisp::on_char, this);
  GetMainWindow()->Bind(wxEVT_MOTION, [this](wxMouseEvent& event) {
    event.Skip();
    update_datatip();
  });
}

void PackagesRelDisp::add_columns() {
  for (const ColumnDefinition& definition : grid_columns()) {
    const bool has_box = definition.id == kBoxColumn;
    wxDataViewRenderer* renderer = nullptr;
    if (has_box) {
      renderer = new wxDataViewCheckIconTextRenderer();
    } else {
      renderer = new wxDataViewTextRenderer();
    }
    renderer->EnableEllipsize(wxELLIPSIZE_END);
    auto* column =
        new wxDataViewColumn(wxString(definition.caption()), renderer, number_of(definition.id),
                             FromDIP(definition.width), wxALIGN_LEFT, wxDATAVIEW_COL_RESIZABLE);
    AppendColumn(column);
    if (has_box) SetExpanderColumn(column);
  }
}

void PackagesRelDisp::show(Selection& selection) {
  const ViewPosition before = view_position();
  const std::optional<RowName> current = name_of(before.current);
  const std::optional<RowName> top = name_of(before.top);
  std::vector<std::string> expanded;
  for (const PackageId package : expanded_) {
    expanded.push_back(name_of(PackagesViewbase::package_item(package))->package);
  }

  selection_ = &selection;
  datatip_item_ = {};
  toggled_item_ = {};
  type_ahead_.forget();
  filter_ = std::make_unique<PackageFilter>(selection.table());
  order_ = sorted_packages(selection, sort_order_);
  expanded_.clear();
  for (const std::string& name : expanded) {
    if (const auto package = selection.table().find_package(name)) expanded_.insert(*package);
  }
  for (PackageId package = 0; package < selection.table().package_count(); ++package) {
    if (selection.expanded(package)) expanded_.insert(package);
  }
  wxObjectDataPtr<PackagesViewbase> view(
      new PackagesViewbase(selection, [this](const wxDataViewItem& item) {
        toggled_item_ = item;
        toggled_at_ = wxGetLocalTimeMillis();
        // The change may open a message box, which must not happen inside the control's handler.
        CallAfter([this, item] { toggle(item); });
      }));
  native_tree::show_nothing(*this);
  view_ = view;
  show_rows({find(current), find(top)});
}

void PackagesRelDisp::show_nothing() {
  native_tree::show_nothing(*this);
  view_.reset(nullptr);
  filter_.reset();
  order_.clear();
  expanded_.clear();
  selection_ = nullptr;
}

void PackagesRelDisp::set_filter(std::wstring text) {
  if (text == filter_text_) return;
  filter_text_ = std::move(text);
  if (selection_ != nullptr) show_rows(view_position());
}

void PackagesRelDisp::sort_by(GridColumn column) {
  sort_order_ = next_order(sort_order_, column);
  if (selection_ == nullptr) return;
  order_ = sorted_packages(*selection_, sort_order_);
  // The row under the cursor stays in sight; the one on top has gone elsewhere.
  show_rows({view_position().current, {}});
}

void PackagesRelDisp::mark_sorted_column() {
  for (unsigned int position = 0; position < GetColumnCount(); ++position) {
    wxDataViewColumn* column = GetColumn(position);
    const bool sorted = sort_order_ && column->GetModelColumn() == number_of(sort_order_->column);
    native_tree::mark_sorted(*column,
                             sorted ? std::optional(sort_order_->ascending) : std::nullopt);
  }
}

PackagesRelDisp::ViewPosition PackagesRelDisp::view_position() const {
  if (selection_ == nullptr) return {};
  return {GetCurrentItem(), GetTopItem()};
}

// Shows the rows in their order, as far as they pass the filter.
void PackagesRelDisp::show_rows(const ViewPosition& position) {
  const wxWindowUpdateLocker drawn_once(this);  // and not once more for each row scrolled to
  native_tree::show(*this, *view_,
                    GridRows(selection_->table(), order_, filter_->matches(filter_text_)));
  mark_sorted_column();  // replacing the rows has removed the mark
  native_tree::set_expanded(*this, std::vector<PackageId>(expanded_.begin(), expanded_.end()),
                            expanded_);
  const wxDataViewItem current = nearest_shown(position.current);
  if (current.IsOk()) go_to(current);
  const wxDataViewItem top = nearest_shown(position.top);
  if (top.IsOk()) native_tree::scroll_to_top(*this, top);
}

// The row itself, else its package, else the first row.
wxDataViewItem PackagesRelDisp::nearest_shown(const wxDataViewItem& item) const {
  const GridRows& rows = view_->rows();
  if (!item.IsOk() || rows.packages().empty()) return {};
  const auto row = PackagesViewbase::version_of(item);
  const PackageId package =
      row ? selection_->table().package_of(*row) : *PackagesViewbase::package_of(item);
  if (rows.position(package) == GridRows::kNotShown) {
    return PackagesViewbase::package_item(rows.packages().front());
  }
  const bool row_shown =
      row && expanded_.count(package) != 0 && rows.position(package, *row) != GridRows::kNotShown;
  return row_shown ? item : PackagesViewbase::package_item(package);
}

std::optional<PackagesRelDisp::RowName> PackagesRelDisp::name_of(const wxDataViewItem& item) const {
  if (selection_ == nullptr) return std::nullopt;
  const PackageTable& table = selection_->table();
  if (const auto row = PackagesViewbase::version_of(item)) {
    const pkg::name_semver_t& identity = table.version(*row).identity;
    return RowName{std::string(identity.name), identity.version};
  }
  const auto package = PackagesViewbase::package_of(item);
  if (!package) return std::nullopt;
  const RowId row = table.versions_of(*package).first;
  return RowName{std::string(table.version(row).identity.name), std::nullopt};
}

wxDataViewItem PackagesRelDisp::find(const std::optional<RowName>& name) const {
  if (!name) return {};
  const PackageTable& table = selection_->table();
  if (name->version) {
    const RowId row = table.find_version({name->package, *name->version});
    if (row != kNoRow) return PackagesViewbase::version_item(row);
  }
  const auto package = table.find_package(name->package);
  return package ? PackagesViewbase::package_item(*package) : wxDataViewItem();
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
  datatip_item_ = {};  // the pointer may rest on a row whose state has changed
  update_datatip();
}

void PackagesRelDisp::EnsureVisible(const wxDataViewItem& item, const wxDataViewColumn*) {
  // The toolkit's own function scrolls again when idle, and the row may be gone by then.
  native_tree::make_visible(*this, item);
}

wxRect PackagesRelDisp::GetItemRect(const wxDataViewItem& item,
                                    const wxDataViewColumn* column) const {
  return native_tree::rect_of(*this, item, column);
}

void PackagesRelDisp::toggle_current() { toggle(GetCurrentItem()); }

void PackagesRelDisp::toggle(const wxDataViewItem& item) {
  if (selection_ == nullptr || locked_ || changing_) return;
  const ScopedFlag changing(changing_);
  if (const auto row = PackagesViewbase::version_of(item)) {
    selection_->toggle_version(*row);
  } else if (const auto package = PackagesViewbase::package_of(item)) {
    const bool expanded_before = selection_->expanded(*package);
    selection_->toggle_package(*package);
    if (!expanded_before && selection_->expanded(*package)) expand({*package});
  }
}

void PackagesRelDisp::on_activated(wxDataViewEvent& event) {
  const wxDataViewItem item = event.GetItem();
  if (item == toggled_item_ && wxGetLocalTimeMillis() - toggled_at_ < kDoubleClickTime) {
    event.Skip();  // some controls still have to handle the second click
    return;
  }
  const auto row = PackagesViewbase::version_of(item);
  if (row && selection_ != nullptr && !locked_ && !changing_) selection_->choose_patch(*row);
}

void PackagesRelDisp::on_char(wxKeyEvent& event) {
  if (selection_ == nullptr || (event.GetModifiers() & ~wxMOD_SHIFT) != 0) {
    event.Skip();
    return;
  }
  const auto now = TypeAhead::Clock::now();
  const auto key = static_cast<wchar_t>(event.GetUnicodeKey());
  const bool typing = type_ahead_.active(now);
  const wxDataViewItem current = GetCurrentItem();
  if (key == L'+' && !typing) {
    if (const auto package = PackagesViewbase::package_of(current)) expand({*package});
    return;
  }
  if (key == L'-' && !typing) {
    collapse_current();
    return;
  }
  if (typing && event.GetKeyCode() == WXK_BACK) {
    type_ahead_.erase_last(now);
  } else if (TypeAhead::accepts(key)) {
    std::optional<PackageId> package = PackagesViewbase::package_of(current);
    if (!package && current.IsOk()) {
      package = PackagesViewbase::package_of(GetModel()->GetParent(current));
    }
    type_ahead_.type(key, package, now);
  } else {
    type_ahead_.forget();
    event.Skip();
    return;
  }
  const auto found = type_ahead_.find(selection_->table(), view_->rows().packages());
  if (found) {
    go_to(PackagesViewbase::package_item(*found));
  } else {
    wxBell();
  }
}

void PackagesRelDisp::go_to(const wxDataViewItem& item) {
  // The toolkit would select the row and leave the cursor where it is.
  native_tree::set_current(*this, item);
}

void PackagesRelDisp::collapse_current() {
  wxDataViewItem item = GetCurrentItem();
  if (PackagesViewbase::version_of(item)) {
    item = GetModel()->GetParent(item);
    go_to(item);
  }
  if (const auto package = PackagesViewbase::package_of(item)) collapse({*package});
}

std::vector<PackageId> PackagesRelDisp::packages_shown() const {
  if (selection_ == nullptr) return {};
  const std::span<const PackageId> packages = view_->rows().packages();
  return {packages.begin(), packages.end()};
}

std::vector<PackageId> PackagesRelDisp::packages_where(bool any_checked) const {
  std::vector<PackageId> packages;
  for (const PackageId package : packages_shown()) {
    if ((selection_->package_check(package) != PackageCheck::none) == any_checked) {
      packages.push_back(package);
    }
  }
  return packages;
}

void PackagesRelDisp::expand(std::vector<PackageId> packages) {
  expanded_.insert(packages.begin(), packages.end());
  native_tree::set_expanded(*this, packages, expanded_);
}

void PackagesRelDisp::collapse(std::vector<PackageId> packages) {
  for (const PackageId package : packages) expanded_.erase(package);
  native_tree::set_expanded(*this, packages, expanded_);
}

void PackagesRelDisp::expand_all() { expand(packages_shown()); }

void PackagesRelDisp::collapse_all() { collapse(packages_shown()); }

void PackagesRelDisp::expand_selected() { expand(packages_where(true)); }

void PackagesRelDisp::collapse_unselected() { collapse(packages_where(false)); }

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

void PackagesRelDisp::update_datatip() {
  if (selection_ == nullptr) return;
  // Some systems count the position in the event without the header, so it is not used.
  wxDataViewItem item;
  wxDataViewColumn* column = nullptr;
  HitTest(ScreenToClient(wxGetMousePosition()), item, column);
  if (item == datatip_item_) return;
  datatip_item_ = item;
  const auto row = PackagesViewbase::version_of(item);
  GetMainWindow()->SetToolTip(
      row ? wxString(boxed(datatip_text(*selection_, *row, patch_caption_()))) : wxString());
}

}  // namespace zendro::packages_ui
