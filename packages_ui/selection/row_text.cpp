#include "packages_ui/selection/row_text.h"

#include <optional>
#include <set>
#include <utility>

#include "msg/message_table.h"
#include "msg/text_builder.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

// More references than this are not listed one by one.
constexpr std::size_t kMostListedReferences = 20;

void append_words(std::wstring& words, std::wstring_view more) {
  if (more.empty()) return;
  if (!words.empty()) words += L", ";
  words += more;
}

void append_word(std::wstring& words, bool applies, msg::Code label) {
  if (applies) append_words(words, msg::message_text(static_cast<int>(label)));
}

std::wstring about(UiCode code, std::wstring package) {
  return ui_message(code, {{L"package", std::move(package)}});
}

// Which versions this one was ticked for.
std::wstring needed_by_words(const Selection& selection, RowId row) {
  const std::set<RowId>& referrers = selection.row(row).referenced_by;
  if (referrers.empty()) return {};
  std::wstring first = selection.table().text(*referrers.begin());
  if (referrers.size() == 1) return about(UiCode::PackageUIStateNeededBy, std::move(first));
  return ui_message(
      UiCode::PackageUIStateNeededByMore,
      {{L"package", std::move(first)}, {L"count", std::to_wstring(referrers.size() - 1)}});
}

std::wstring conflict_words(const Selection& selection, RowId row) {
  const RowId other = selection.conflict_of(row);
  if (other == kNoRow) return {};
  return std::wstring(msg::message_text(static_cast<int>(msg::Code::label_conflicts))) + L" " +
         selection.table().text(other);
}

// Why the version cannot be installed, whatever else is ticked.
std::wstring obstacle_words(const PackageTable& table, RowId row) {
  if (table.version(row).installed || !table.version(row).available) return {};
  if (!table.choosable(row)) {
    return about(UiCode::PackageUIStateNewerInstalled, table.text(table.installed_level(row)));
  }
  const std::optional<std::wstring> missing = table.missing_reference(row);
  return missing ? about(UiCode::PackageUIStateMissingReference, *missing) : std::wstring();
}

}  // namespace

std::wstring version_state_words(const Selection& selection, RowId row) {
  const VersionRow& version = selection.row(row);
  const PackageTable& table = selection.table();
  std::wstring words;
  append_word(words, version.installed, msg::Code::label_installed);
  append_word(words, table.latest(table.package_of(row)) == row, msg::Code::label_latest);
  append_word(words, version.patch != PatchState::none, msg::Code::label_upgrade_available);
  append_word(words, version.deprecated, msg::Code::label_deprecated);
  append_words(words, needed_by_words(selection, row));
  append_words(words, conflict_words(selection, row));
  append_words(words, obstacle_words(table, row));
  return words;
}

std::wstring package_state_words(const Selection& selection, PackageId package) {
  const PackageTable::Range range = selection.table().versions_of(package);
  bool installed = false;
  bool patchable = false;
  bool deprecated_installed = false;
  bool all_deprecated = true;
  for (RowId row = range.first; row < range.end; ++row) {
    const VersionRow& version = selection.row(row);
    installed |= version.installed;
    patchable |= version.patch != PatchState::none;
    deprecated_installed |= version.installed && version.deprecated;
    all_deprecated &= version.deprecated;
  }
  std::wstring words;
  append_word(words, installed, msg::Code::label_installed);
  append_word(words, patchable, msg::Code::label_upgrade_available);
  append_word(words, deprecated_installed || all_deprecated, msg::Code::label_deprecated);
  return words;
}

std::string_view version_icon(const VersionRow& row) {
  switch (row.patch) {
    case PatchState::available:
      return row.deprecated ? "package_deprecated_patchable" : "package_patchable";
    case PatchState::chosen:
      return row.deprecated ? "package_deprecated_patch" : "package_patch";
    case PatchState::none:
      break;
  }
  return row.deprecated ? "package_deprecated" : "package";
}

std::string_view package_icon(const Selection& selection, PackageId package) {
  const PackageTable::Range range = selection.table().versions_of(package);
  VersionRow common;
  common.deprecated = true;
  for (RowId row = range.first; row < range.end; ++row) {
    const VersionRow& version = selection.row(row);
    common.deprecated &= version.deprecated;
    // A patch that still waits for a decision shows before one that is chosen.
    if (version.patch == PatchState::available || common.patch == PatchState::none) {
      common.patch = version.patch;
    }
  }
  return version_icon(common);
}

std::wstring datatip_text(const Selection& selection, RowId row, std::wstring_view patch_caption) {
  const VersionRow& version = selection.row(row);
  const PackageTable& table = selection.table();
  const auto text_of = [](UiCode code) { return ui_message_text(static_cast<int>(code)); };

  msg::TextBuilder tip;
  const std::wstring publisher = table.publisher(row);
  if (!publisher.empty()) {
    tip.begin_message().add(text_of(UiCode::PackageUIDatatipPublisher)).add(L" ").add(publisher);
  }
  const std::vector<std::wstring> references = table.reference_texts(row);
  if (!references.empty()) {
    tip.begin_message().add(text_of(UiCode::PackageUIDatatipReferences)).add(L" ");
    tip.add_list(references, kMostListedReferences);
  }
  if (version.deprecated && version.patch != PatchState::chosen) {
    tip.begin_message().add(text_of(UiCode::PackageUIDatatipDeprecated));
  }
  if (version.patch == PatchState::available) {
    tip.begin_message().add(
        ui_message(UiCode::PackageUIDatatipPatchHint, {{L"btnName", std::wstring(patch_caption)}}));
  }
  return tip.text();
}

}  // namespace zendro::packages_ui
