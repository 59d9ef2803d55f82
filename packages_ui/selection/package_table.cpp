#include "packages_ui/selection/package_table.h"

#include <algorithm>
#include <cassert>
#include <functional>
#include <utility>

#include "framework/text/json.h"
#include "msg/shown.h"

namespace zendro::packages_ui {
namespace {

// Room for the longest version behind a name: "-65534.65534.65534".
constexpr std::size_t kLongestShownName = msg::kMostOfCell - 18;
// Reading longer metadata each time that a row is drawn would be noticed.
constexpr std::size_t kBytesReadQuickly = 64 << 10;

std::wstring shown(std::string_view text) { return msg::shown(text, msg::kMostOfCell); }

// The version stays in sight, however long the name is.
std::wstring shown_identity(const pkg::name_semver_t& identity) {
  return msg::shown(identity.name, kLongestShownName) +
         msg::shown(pkg::to_string({{}, identity.version}));
}

}  // namespace

PackageTable::PackageTable(std::string type, pkg::merged_view_t view)
    : type_(std::move(type)),
      view_(std::move(view)),
      planner_(view_.available, view_.installed, problems(), problems()) {
  const auto& versions = view_.versions;
  package_of_.reserve(versions.size());
  for (std::size_t i = 0; i < versions.size(); ++i) {
    if (i == 0 || versions[i].identity.name != versions[i - 1].identity.name) {
      packages_.push_back({static_cast<RowId>(i), static_cast<RowId>(i)});
    }
    ++packages_.back().end;
    package_of_.push_back(static_cast<PackageId>(packages_.size() - 1));
  }

  // The lists are in the order of identities, so that the available versions of the view are the
  // packages of the available list one by one, and likewise the installed ones.
  available_rows_.reserve(view_.available.packages().size());
  installed_rows_.reserve(view_.installed.packages().size());
  available_places_.resize(versions.size());
  installed_places_.resize(versions.size());
  for (std::size_t i = 0; i < versions.size(); ++i) {
    const Range range = packages_[package_of_[i]];
    const auto row = static_cast<RowId>(range.first + range.end - 1 - i);
    if (versions[i].available) {
      available_places_[row] = static_cast<pkg::list_position>(available_rows_.size());
      available_rows_.push_back(row);
    }
    if (versions[i].installed) {
      installed_places_[row] = static_cast<pkg::list_position>(installed_rows_.size());
      installed_rows_.push_back(row);
    }
  }
  assert(available_rows_.size() == view_.available.packages().size());
  assert(installed_rows_.size() == view_.installed.packages().size());
  find_installed_levels();
  reported_.resize(versions.size());
}

// The versions of a line follow each other, the newest last.
void PackageTable::find_installed_levels() {
  installed_levels_.resize(version_count(), kNoRow);
  const auto is_of_line = [this](RowId row, RowId other) {
    const pkg::semver_t& a = version(row).identity.version;
    const pkg::semver_t& b = version(other).identity.version;
    return package_of_[row] == package_of_[other] && a.major == b.major && a.minor == b.minor;
  };
  for (const RowId installed : installed_rows_) {
    if (installed_levels_[installed] != kNoRow) continue;
    const Range range = packages_[package_of_[installed]];
    // The newest installed level of a package's line is met first.
    for (RowId row = installed; row < range.end && is_of_line(row, installed); ++row) {
      installed_levels_[row] = installed;
    }
    for (RowId row = installed; row-- > range.first && is_of_line(row, installed);) {
      installed_levels_[row] = installed;
    }
  }
}

const pkg::version_view_t& PackageTable::version(RowId row) const {
  // The view has the newest version of a package first, the grid has it last.
  const Range range = packages_[package_of_[row]];
  return view_.versions[range.first + range.end - 1 - row];
}

pkg::metadata_problem_sink PackageTable::problems() {
  return [this](const pkg::package_t& package, const framework::JsonError& error) {
    report(row_of(package), error);
  };
}

template <typename Result, typename Read>
Result PackageTable::read_metadata(RowId row, Read read) const {
  try {
    return read(version(row).meta);
  } catch (const framework::JsonError& error) {
    report(row, error);
    return {};
  }
}

void PackageTable::report(RowId row, const framework::JsonError& error) const {
  if (reported_[row]) return;
  reported_[row] = true;
  if (!problem_sink_) return;
  msg::Message message;
  message.severity = msg::Severity::warning;
  message.hint = text(row) + L": " + msg::shown(error.what());
  problem_sink_(message);
}

std::wstring PackageTable::text(RowId row) const { return shown_identity(version(row).identity); }

std::wstring PackageTable::name(PackageId package) const {
  return shown(version(packages_[package].first).identity.name);
}

template <typename Read>
std::wstring PackageTable::cell(RowId row, CellTexts& kept, Read read) const {
  if (const auto found = kept.find(row); found != kept.end()) return found->second;
  std::wstring text = shown(read_metadata<std::string_view>(row, read));
  if (version(row).meta.map().text().size() > kBytesReadQuickly) kept.emplace(row, text);
  return text;
}

std::wstring PackageTable::title(RowId row) const {
  return cell(row, titles_, [](const pkg::meta_t& meta) { return meta.title(); });
}

std::string_view PackageTable::title_bytes(RowId row) const {
  return read_metadata<std::string_view>(row, [](const pkg::meta_t& meta) { return meta.title(); });
}

std::string_view PackageTable::description_bytes(RowId row) const {
  return read_metadata<std::string_view>(
      row, [](const pkg::meta_t& meta) { return meta.description(); });
}

std::wstring PackageTable::publisher(RowId row) const {
  return cell(row, publishers_, [](const pkg::meta_t& meta) { return meta.publisher(); });
}

std::vector<std::wstring> PackageTable::reference_texts(RowId row) const {
  std::vector<std::wstring> texts;
  const auto references = read_metadata<std::vector<std::string_view>>(
      row, [](const pkg::meta_t& meta) { return meta.references(); });
  for (const std::string_view reference : references) texts.push_back(shown(reference));
  return texts;
}

RowId PackageTable::row_of(const pkg::package_t& package) const {
  const auto& installed = view_.installed.packages();
  const std::less<const pkg::package_t*> before;
  if (!before(&package, installed.data()) &&
      before(&package, installed.data() + installed.size())) {
    return installed_rows_[pkg::position_of(installed, package)];
  }
  return available_rows_[pkg::position_of(view_.available.packages(), package)];
}

bool PackageTable::choosable(RowId row) const {
  if (version(row).installed) return true;
  const RowId level = installed_level(row);
  return version(row).available && (level == kNoRow || level < row);
}

RowId PackageTable::latest(PackageId package) const {
  const Range range = packages_[package];
  for (RowId row = range.end; row-- > range.first;) {
    if (version(row).available) return row;
  }
  return kNoRow;
}

RowId PackageTable::representative(PackageId package) const {
  const RowId row = latest(package);
  return row != kNoRow ? row : packages_[package].end - 1;
}

std::optional<PackageId> PackageTable::find_package(std::string_view name) const {
  const auto name_of = [this](Range range) -> std::string_view {
    return version(range.first).identity.name;
  };
  const auto found =
      std::lower_bound(packages_.begin(), packages_.end(), name,
                       [&](Range range, std::string_view other) { return name_of(range) < other; });
  if (found == packages_.end() || name_of(*found) != name) return std::nullopt;
  return static_cast<PackageId>(found - packages_.begin());
}

RowId PackageTable::find_version(const pkg::name_semver_t& identity) const {
  const auto package = find_package(identity.name);
  if (!package) return kNoRow;
  const Range range = versions_of(*package);
  for (RowId row = range.first; row < range.end; ++row) {
    if (version(row).identity == identity) return row;
  }
  return kNoRow;
}

RowId PackageTable::find_best(std::string_view identity_text) const {
  const auto& packages = view_.available.packages();
  const pkg::package_t* found = pkg::find_best(packages, pkg::parse_identity(identity_text));
  if (found == nullptr) return kNoRow;
  return available_rows_[static_cast<std::size_t>(found - packages.data())];
}

std::optional<std::wstring> PackageTable::missing_reference(RowId row) const {
  const auto missing = planner_.missing_reference(available_places_[row]);
  return missing ? std::optional(shown_identity(*missing)) : std::nullopt;
}

RowId PackageTable::patch_for(RowId row) const {
  if (!version(row).installed) return kNoRow;
  const pkg::semver_t here = version(row).identity.version;
  const RowId end = packages_[package_of_[row]].end;
  RowId patch = kNoRow;
  for (RowId level = row + 1; level < end; ++level) {
    const pkg::version_view_t& other = version(level);
    const pkg::semver_t there = other.identity.version;
    if (there.major != here.major || there.minor != here.minor) break;
    if (other.installed) return kNoRow;
    if (other.available) patch = level;
  }
  return patch;
}

}  // namespace zendro::packages_ui
