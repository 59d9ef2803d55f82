// "package.json", which describes one package version, and where it stands in a store:
//
//   <store>/packages/<name>/<version>/package.json   the description
//   <store>/packages/<name>/<version>/files/         what goes into the member
//
// A description has the members of the list's own entries (docs/lists.md), but for what the build
// finds out, with paths relative to the files; and "deprecated".
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/io.h"
#include "pkg/name_semver.h"

#include "store/json_file.h"
#include "store/settings.h"

namespace zendro::store {

using Faults = std::vector<std::string>;

struct Description {
  pkg::name_semver_t identity;
  std::filesystem::path folder;
  JsonFile file;

  [[nodiscard]] std::filesystem::path files() const { return folder / "files"; }
  [[nodiscard]] bool is_deprecated() const;
};

/// A name with a full version, such as a package version has; or what to write instead.
tl::expected<pkg::name_semver_t, std::string> full_identity(std::string_view text);

/// The folder of a package version.
std::filesystem::path package_folder(const std::filesystem::path& store,
                                     const pkg::name_semver_t& identity);

/// The description of one package version; the error says so where there is none.
framework::Result<Description> read_description(const std::filesystem::path& store,
                                                const pkg::name_semver_t& identity);
/// All descriptions, sorted by identity; what cannot be read is a fault.
std::vector<Description> read_descriptions(const std::filesystem::path& store, Faults& faults);
framework::Result<void> write_description(const Description& description);

/// What a manager would refuse, or could not find, in a description; `paths` are those of its files
/// (sorted). Each fault names file, line and what to write instead. What is odd, but does no harm,
/// goes to `warnings`.
void check_description(const Description& description, const Settings& settings,
                       const std::vector<std::string>& paths, Faults& faults, Faults& warnings);

/// The path of the member of a package version, relative to the URL of the store.
std::string member_path(const Settings& settings, const pkg::name_semver_t& identity);

/// The entry of a list for a description without faults. `digest` is that of its member.
json::object list_entry(const Description& description, const Settings& settings,
                        const std::string& digest);

}  // namespace zendro::store
