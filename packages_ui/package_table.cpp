#include "packages_ui/package_table.h"

#include <algorithm>
#include <cassert>
#include <unordered_set>
#include <utility>

#include "framework/json.h"
#include "msg/utf.h"

namespace zendro::packages_ui {
namespace {

// A text of the metadata as it may be shown: on one line.
std::wstring shown(std::string_view text) {
  return msg::fill(L"{text}", {{L"text", msg::to_wide(text)}});
}

}  // namespace

PackageTable::PackageTable(std::string type, pkg::merged_view_t view)
    : type_(std::move(type)), view_(std::move(view)) {
  const auto& versions = view_.versions;
  package_of_.reserve(versions.size());
  for (std::size_t i = 0; i < versions.size(); ++i) {
    if (i == 0 || versions[i].identity.name != versions[i - 1].identity.name) {
      packages_.push_back({static_cast<RowId>(i), static_cast<RowId>(i)});
    }
    ++packages_.back().end;
    package_of_.push_back(static_cast<PackageId>(packages_.size() - 1));
  }

  // Both lists are in the order of identities, so that the available versions of the view are the
  // packages of the available list one by one.
  available_rows_.reserve(view_.available.packages().size());
  for (std::size_t i = 0; i < versions.size(); ++i) {
    if (!versions[i].available) continue;
    const Range range = packages_[package_of_[i]];
    available_rows_.push_back(static_cast<RowId>(range.first + range.end - 1 - i));
  }
  assert(available_rows_.size() == view_.available.packages().size());

  references_.resize(versions.size());
  reported_.resize(versions.size());
}

const pkg::version_view_t& PackageTable::version(RowId row) const {
  // The view has the newest version of a package first, the grid has it last.
  const Range range = packages_[package_of_[row]];
  return view_.versions[range.first + range.end - 1 - row];
}

template <typename Result, typename Read>
Result PackageTable::guarded(RowId row, Read read) const {
  try {
    return read(version(row).meta);
  } catch (const framework::JsonError& error) {
    if (!reported_[row]) {
      reported_[row] = true;
      if (problem_sink_) {
        msg::Message message;
        message.severity = msg::Severity::warning;
        message.hint = text(row) + L": " + msg::to_wide(error.what());
        problem_sink_(message);
      }
    }
    return {};
  }
}

std::wstring PackageTable::text(RowId row) const {
  return shown(pkg::to_string(version(row).identity));
}

std::wstring PackageTable::name(PackageId package) const {
  return shown(version(packages_[package].first).identity.name);
}

std::wstring PackageTable::title(RowId row) const { return shown(title_bytes(row)); }

std::string_view PackageTable::title_bytes(RowId row) const {
  return guarded<std::string_view>(row, [](const pkg::meta_t& meta) { return meta.title(); });
}

std::string_view PackageTable::description_bytes(RowId row) const {
  return guarded<std::string_view>(row, [](const pkg::meta_t& meta) { return meta.description(); });
}

std::wstring PackageTable::publisher(RowId row) const {
  return guarded<std::wstring>(row,
                               [](const pkg::meta_t& meta) { return shown(meta.publisher()); });
}

std::vector<std::wstring> PackageTable::reference_texts(RowId row) const {
  std::vector<std::wstring> texts;
  const auto references = guarded<std::vector<std::string_view>>(
      row, [](const pkg::meta_t& meta) { return meta.references(); });
  for (const std::string_view reference : references) texts.push_back(shown(reference));
  return texts;
}

bool PackageTable::choosable(RowId row) const {
  return version(row).available || version(row).installed;
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

std::span<const RowId> PackageTable::references(RowId row) const {
  std::optional<std::vector<RowId>>& cached = references_[row];
  if (!cached) {
    cached.emplace();
    const auto texts = guarded<std::vector<std::string_view>>(
        row, [](const pkg::meta_t& meta) { return meta.references(); });
    // Two texts may choose one version ("a" and "a-1").
    std::unordered_set<RowId> seen{row, kNoRow};
    for (const std::string_view reference : texts) {
      const RowId target = find_best(reference);
      if (seen.insert(target).second) cached->push_back(target);
    }
  }
  return *cached;
}

RowId PackageTable::patch_for(RowId row) const {
  const pkg::semver_t version_here = version(row).identity.version;
  const Range range = packages_[package_of_[row]];
  for (RowId candidate = range.end; --candidate > row;) {
    const pkg::version_view_t& other = version(candidate);
    if (!other.available || other.identity.version.major != version_here.major ||
        other.identity.version.minor != version_here.minor) {
      continue;
    }
    return other.installed ? kNoRow : candidate;
  }
  return kNoRow;
}

}  // namespace zendro::packages_ui
