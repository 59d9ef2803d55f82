#include "packages_ui/selection/pending_changes.h"

#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {
namespace {

void append_section(std::wstring& text, UiCode code, const PackageTable& table,
                    const std::vector<RowId>& rows) {
  if (rows.empty()) return;
  if (!text.empty()) text += L"\r\n\r\n";
  std::vector<std::wstring> packages;
  packages.reserve(rows.size());
  for (const RowId row : rows) packages.push_back(table.text(row));
  text += ui_message_with_packages(code, packages, L"\r\n    ", L"");
}

}  // namespace

PendingChanges pending_changes(const Selection& selection) {
  PendingChanges changes;
  const std::span<const VersionRow> rows = selection.rows();
  for (RowId row = 0; row < rows.size(); ++row) {
    const VersionRow& version = rows[row];
    if (version.installed && !version.checked) {
      changes.uninstall.push_back(row);
    } else if (!version.installed && version.checked) {
      changes.install.push_back(row);
    } else if (version.installed && version.patch == PatchState::chosen) {
      changes.patch.push_back(row);
    }
  }
  return changes;
}

std::wstring summary_text(const Selection& selection, std::wstring_view apply_caption) {
  const PendingChanges changes = pending_changes(selection);
  if (changes.empty()) {
    return ui_message(UiCode::PackageUIInformation, {{L"btnName", std::wstring(apply_caption)}});
  }
  std::wstring text;
  const PackageTable& table = selection.table();
  append_section(text, UiCode::PackageUIInstallationUninstall, table, changes.uninstall);
  append_section(text, UiCode::PackageUIInstallationPatch, table, changes.patch);
  append_section(text, UiCode::PackageUIInstallationInstall, table, changes.install);
  return text;
}

std::vector<pkg::filter_action> pending_actions(const Selection& selection) {
  const PendingChanges changes = pending_changes(selection);
  const PackageTable& table = selection.table();
  std::vector<pkg::filter_action> pairs;
  // An installed level that a new one replaces goes with the install.
  for (const pkg::package_t* package : selection.plan().removed) {
    pairs.emplace_back(pkg::to_string(package->identity), pkg::kActionUninstall);
  }

  const auto add_install = [&](RowId row) {
    pairs.emplace_back(pkg::to_string(table.version(row).identity), pkg::kActionInstall);
  };
  for (const RowId row : changes.patch) add_install(table.patch_for(row));
  for (const RowId row : changes.install) add_install(row);
  return pairs;
}

}  // namespace zendro::packages_ui
