#include "packages_ui/packages_viewbase.h"

#include <cstdint>
#include <utility>

#include <wx/settings.h>

#include "packages_ui/pictures.h"
#include "packages_ui/selection/grid_columns.h"
#include "packages_ui/selection/row_text.h"

namespace zendro::packages_ui {
namespace {

// The toolkit knows rows by numbers: even ones are packages, odd ones versions, and 0 is the
// invisible root.
wxDataViewItem item_of(std::uintptr_t number) {
  return wxDataViewItem(reinterpret_cast<void*>(number));  // NOLINT(performance-no-int-to-ptr)
}

std::uintptr_t number_of(const wxDataViewItem& item) {
  return reinterpret_cast<std::uintptr_t>(item.GetID());
}

constexpr int kRowIconSize = 16;

}  // namespace

PackagesViewbase::PackagesViewbase(const Selection& selection,
                                   std::function<void(const wxDataViewItem&)> on_check)
    : selection_(selection), on_check_(std::move(on_check)) {}

wxDataViewItem PackagesViewbase::package_item(PackageId package) {
  return item_of((std::uintptr_t{package} + 1) * 2);
}

wxDataViewItem PackagesViewbase::version_item(RowId row) {
  return item_of(std::uintptr_t{row} * 2 + 1);
}

std::optional<PackageId> PackagesViewbase::package_of(const wxDataViewItem& item) {
  const std::uintptr_t number = number_of(item);
  if (number == 0 || number % 2 != 0) return std::nullopt;
  return static_cast<PackageId>(number / 2 - 1);
}

std::optional<RowId> PackagesViewbase::version_of(const wxDataViewItem& item) {
  const std::uintptr_t number = number_of(item);
  if (number % 2 == 0) return std::nullopt;
  return static_cast<RowId>(number / 2);
}

void PackagesViewbase::set_rows(GridRows rows) {
  rows_ = std::move(rows);
  top_level_ = rows_.packages();
}

void PackagesViewbase::GetValue(wxVariant& value, const wxDataViewItem& item,
                                unsigned int column) const {
  if (column == number_of(kBoxColumn)) {
    value << box_cell(item);
  } else {
    value = text_cell(item, column);
  }
}

wxDataViewCheckIconText PackagesViewbase::box_cell(const wxDataViewItem& item) const {
  wxDataViewCheckIconText cell(text_cell(item, number_of(kBoxColumn)));
  if (const auto package = package_of(item)) {
    cell.SetBitmapBundle(icon(package_icon(selection_, *package)));
    switch (selection_.package_check(*package)) {
      case PackageCheck::none:
        cell.SetCheckedState(wxCHK_UNCHECKED);
        break;
      case PackageCheck::some:
        cell.SetCheckedState(wxCHK_UNDETERMINED);
        break;
      case PackageCheck::all:
        cell.SetCheckedState(wxCHK_CHECKED);
        break;
    }
  } else if (const auto row = version_of(item)) {
    cell.SetBitmapBundle(icon(version_icon(selection_.row(*row))));
    cell.SetCheckedState(selection_.wanted(*row) ? wxCHK_CHECKED : wxCHK_UNCHECKED);
  }
  return cell;
}

wxString PackagesViewbase::text_cell(const wxDataViewItem& item, unsigned int column) const {
  const ColumnDefinition& definition = grid_columns()[column];
  if (const auto package = package_of(item)) return definition.package_text(selection_, *package);
  if (const auto row = version_of(item)) return definition.version_text(selection_, *row);
  return {};
}

bool PackagesViewbase::SetValue(const wxVariant&, const wxDataViewItem& item, unsigned int column) {
  // The selection decides what the click changes; the control must not change the box itself.
  if (column == number_of(kBoxColumn)) on_check_(item);
  return false;
}

bool PackagesViewbase::GetAttr(const wxDataViewItem& item, unsigned int column,
                               wxDataViewItemAttr& attributes) const {
  if (IsEnabled(item, column)) return false;
  attributes.SetColour(wxSystemSettings::GetColour(wxSYS_COLOUR_GRAYTEXT));
  return true;
}

bool PackagesViewbase::IsEnabled(const wxDataViewItem& item, unsigned int) const {
  const auto row = version_of(item);
  return !row || selection_.table().choosable(*row);
}

wxDataViewItem PackagesViewbase::GetParent(const wxDataViewItem& item) const {
  const auto row = version_of(item);
  return row ? package_item(selection_.table().package_of(*row)) : wxDataViewItem();
}

bool PackagesViewbase::IsContainer(const wxDataViewItem& item) const { return !version_of(item); }

bool PackagesViewbase::HasContainerColumns(const wxDataViewItem&) const { return true; }

unsigned int PackagesViewbase::GetChildren(const wxDataViewItem& item,
                                           wxDataViewItemArray& children) const {
  if (!item.IsOk()) {
    children.reserve(top_level_.size());
    for (const PackageId package : top_level_) children.push_back(package_item(package));
  } else if (const auto package = package_of(item)) {
    for (const RowId row : rows_.versions(*package)) children.push_back(version_item(row));
  }
  return static_cast<unsigned int>(children.size());
}

int PackagesViewbase::Compare(const wxDataViewItem& one, const wxDataViewItem& other, unsigned int,
                              bool) const {
  const auto position = [this](const wxDataViewItem& item) {
    const auto package = package_of(item);
    return package ? rows_.position(*package)
                   : rows_.position(*package_of(GetParent(item)), *version_of(item));
  };
  const std::size_t first = position(one);
  const std::size_t second = position(other);
  return first < second ? -1 : first > second ? 1 : 0;
}

wxBitmapBundle PackagesViewbase::icon(std::string_view name) const {
  const auto [found, added] = icons_.try_emplace(name);
  if (added) found->second = picture(name, kRowIconSize);
  return found->second;
}

}  // namespace zendro::packages_ui
