#include "packages_ui/packages_viewbase.h"

#include <cstdint>
#include <utility>

#include <wx/settings.h>

#include "packages_ui/pictures.h"
#include "packages_ui/row_text.h"

namespace zendro::packages_ui {
namespace {

// Rows are told to the toolkit as numbers: even ones are packages, odd ones versions; 0 is the
// invisible root.
wxDataViewItem item_of(std::uintptr_t number) {
  return wxDataViewItem(reinterpret_cast<void*>(number));  // NOLINT(performance-no-int-to-ptr)
}

std::uintptr_t number_of(const wxDataViewItem& item) {
  return reinterpret_cast<std::uintptr_t>(item.GetID());
}

constexpr int kIconSize = 16;

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
  value = column == kPackage ? box_cell(item) : wxVariant(wxString(text_cell(item, column)));
}

wxVariant PackagesViewbase::box_cell(const wxDataViewItem& item) const {
  const PackageTable& table = selection_.table();
  wxDataViewCheckIconText cell;
  if (const auto package = package_of(item)) {
    cell.SetText(wxString(table.name(*package)));
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
    cell.SetText(wxString(table.text(*row)));
    cell.SetBitmapBundle(icon(version_icon(selection_.row(*row))));
    cell.SetCheckedState(selection_.row(*row).checked ? wxCHK_CHECKED : wxCHK_UNCHECKED);
  }
  wxVariant value;
  value << cell;
  return value;
}

std::wstring PackagesViewbase::text_cell(const wxDataViewItem& item, unsigned int column) const {
  const PackageTable& table = selection_.table();
  const auto package = package_of(item);
  const auto version = version_of(item);
  if (!package && !version) return {};

  if (column == kState) {
    return package ? package_state_words(selection_, *package)
                   : version_state_words(selection_, *version);
  }
  const RowId row = package ? table.representative(*package) : *version;
  return column == kTitle ? table.title(row) : table.publisher(row);
}

bool PackagesViewbase::SetValue(const wxVariant&, const wxDataViewItem& item, unsigned int column) {
  // What the click comes to is for the selection to say; it may ask first.
  if (column == kPackage) on_check_(item);
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
  if (added) found->second = picture(name, kIconSize);
  return found->second;
}

}  // namespace zendro::packages_ui
