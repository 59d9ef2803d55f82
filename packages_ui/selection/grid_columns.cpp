#include "packages_ui/selection/grid_columns.h"

#include <array>

#include "msg/message_table.h"
#include "msg/shown.h"
#include "packages_ui/selection/row_text.h"

namespace zendro::packages_ui {
namespace {

// The text of a label as a header shows it: with a capital letter.
template <msg::Code Label>
std::wstring caption_of() {
  std::wstring text(msg::message_text(static_cast<int>(Label)));
  if (text[0] >= L'a' && text[0] <= L'z') text[0] += L'A' - L'a';
  return text;
}

// What a column shows of a version, shown of the version that describes the package as a whole.
template <std::wstring (PackageTable::*Text)(RowId) const>
std::wstring package_metadata(const Selection& selection, PackageId package) {
  const PackageTable& table = selection.table();
  return (table.*Text)(table.representative(package));
}

template <std::wstring (PackageTable::*Text)(RowId) const>
std::wstring version_metadata(const Selection& selection, RowId row) {
  return (selection.table().*Text)(row);
}

std::wstring package_name(const Selection& selection, PackageId package) {
  return selection.table().name(package);
}

std::wstring version_state(const Selection& selection, RowId row) {
  return msg::shown(version_state_words(selection, row), msg::kMostOfCell);
}

constexpr std::array kColumns = {
    ColumnDefinition{.id = GridColumn::name,
                     .caption = caption_of<msg::Code::label_name>,
                     .width = 270,
                     .package_text = package_name,
                     .version_text = version_metadata<&PackageTable::text>},
    ColumnDefinition{.id = GridColumn::title,
                     .caption = caption_of<msg::Code::label_title>,
                     .width = 220,
                     .package_text = package_metadata<&PackageTable::title>,
                     .version_text = version_metadata<&PackageTable::title>},
    ColumnDefinition{.id = GridColumn::state,
                     .caption = [] { return std::wstring(L"State"); },
                     .width = 210,
                     .package_text = package_state_words,
                     .version_text = version_state},
    ColumnDefinition{.id = GridColumn::publisher,
                     .caption = caption_of<msg::Code::label_publisher>,
                     .width = 150,
                     .package_text = package_metadata<&PackageTable::publisher>,
                     .version_text = version_metadata<&PackageTable::publisher>},
};

// One definition for each enumerator, in their order. That none lacks a text is a warning of the
// compiler: a comparison with null is no constant for one that looks for undefined behaviour.
constexpr bool is_complete() {
  for (unsigned int number = 0; number < kColumns.size(); ++number) {
    const ColumnDefinition& column = kColumns[number];
    if (number_of(column.id) != number) return false;
    if (column.width <= 0) return false;
  }
  return kColumns.size() == number_of(GridColumn::count);
}
static_assert(is_complete(), "every column needs its definition, in the order of the enumerators");

}  // namespace

std::span<const ColumnDefinition> grid_columns() { return kColumns; }

}  // namespace zendro::packages_ui
