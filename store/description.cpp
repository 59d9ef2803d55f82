#include "store/description.h"

#include <algorithm>
#include <array>
#include <set>

#include "app/options/package_types.h"
#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/system/system_error.h"
#include "pkg/meta.h"
#include "pkg/package_list.h"

#include "store/whole_file.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

constexpr const char* kDescriptionName = "package.json";
constexpr std::array kTexts = {"title",     "description", "homepage",
                               "publisher", "_type",       "_pkg_installdir"};
constexpr std::array kRelations = {"references", "conflicting_pkgs"};
constexpr std::array kMaps = {"catalogs", "namespace_catalog", "uri_mappings"};
constexpr std::array kOthers = {"entrypoints", "versioning_reports", "languages", "deprecated"};
constexpr std::array kMade = {"files", "_name"};

template <typename Names>
bool is_one_of(const Names& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// A name that is the same as a folder, in a URL and as part of a query.
bool is_package_name(std::string_view name) {
  return !name.empty() && name.find_first_of("#?%~&") == std::string_view::npos &&
         framework::is_plain_name(name);
}

std::string in_quotes(std::string_view text) { return '"' + std::string(text) + '"'; }

class Checker {
 public:
  Checker(const Description& description, const Settings& settings,
          const std::vector<std::string>& paths, Faults& faults, Faults& warnings)
      : description_(description),
        settings_(settings),
        paths_(paths),
        faults_(faults),
        warnings_(warnings) {}

  void check() {
    for (const json::key_value_pair& member : description_.file.values) {
      const std::string_view key = member.key();
      if (is_one_of(kTexts, key)) {
        if (!member.value().is_string())
          fault({key}, "write a text: " + in_quotes(key) + ": \"...\"");
      } else if (is_one_of(kRelations, key)) {
        check_relations(key, member.value());
      } else if (is_one_of(kMaps, key)) {
        check_map(key, member.value());
      } else if (is_one_of(kMade, key)) {
        fault({key}, in_quotes(key) + " is made by \"build\"; take it out");
      } else if (key == "deprecated" && !member.value().is_bool()) {
        fault({key}, "write \"deprecated\": true or \"deprecated\": false");
      } else if (!is_one_of(kOthers, key)) {
        warnings_.push_back(description_.file.place({key}) + ": " + in_quotes(key) +
                            " is not known; it goes into the list as it is");
      }
    }
    check_folder();
    if (!description_.file.values.contains("title")) {
      warnings_.push_back(description_.file.place() + ": no \"title\", by which users know it");
    }
    if (paths_.empty()) {
      faults_.push_back(framework::path_to_utf8(description_.files()) +
                        ": no files; put there what the package consists of");
    }
  }

 private:
  void fault(std::initializer_list<std::string_view> keys, const std::string& text) {
    faults_.push_back(description_.file.place(keys) + ": " + text);
  }

  void check_relations(std::string_view key, const json::value& value) {
    const json::array* texts = value.if_array();
    const bool is_good =
        texts != nullptr && std::all_of(texts->begin(), texts->end(), [](const json::value& text) {
          return text.is_string() && !pkg::parse_identity(framework::as_string(text)).name.empty();
        });
    if (!is_good)
      fault({key}, "write an array of packages: " + in_quotes(key) + ": [\"name-1.2\"]");
  }

  void check_map(std::string_view key, const json::value& value) {
    const json::object* map = value.if_object();
    if (map == nullptr) {
      fault({key}, "write a map: " + in_quotes(key) + ": {\"...\": \"...\"}");
      return;
    }
    for (const json::key_value_pair& entry : *map) {
      const std::string_view name = entry.key();
      if (key == "uri_mappings") {
        if (!entry.value().is_string()) fault({key, name}, "write a URL prefix as its value");
        continue;
      }
      try {
        const bool may_be_public = key == "namespace_catalog";
        check_path(key, name,
                   may_be_public ? pkg::read_namespace_entry(entry.value()).member_path
                                 : framework::as_string(entry.value()));
      } catch (const framework::JsonError&) {
        fault({key, name}, key == "catalogs"
                               ? "write the path of a file as its value"
                               : "write the path of a file as its value, or {\"path\": \"...\", "
                                 "\"public\": true} for a public identifier");
      }
    }
  }

  void check_path(std::string_view key, std::string_view name, std::string_view path) {
    const auto at = std::lower_bound(paths_.begin(), paths_.end(), path);
    if (path.ends_with('/')) {
      if (!name.ends_with('/')) {
        fault({key, name}, in_quotes(path) +
                               " is a folder; then write the location with a slash at "
                               "its end, too: " +
                               in_quotes(std::string(name) + "/"));
      } else if (at == paths_.end() || !at->starts_with(path)) {
        fault({key, name}, in_quotes(path) + " is no folder below files/");
      }
    } else if (at == paths_.end() || *at != path) {
      const bool is_folder = at != paths_.end() && at->starts_with(std::string(path) + "/");
      fault({key, name}, is_folder ? in_quotes(path) + " is a folder; write " +
                                         in_quotes(std::string(path) + "/")
                                   : in_quotes(path) + " is no file below files/");
    }
  }

  void check_folder() {
    for (const char* key : {"_type", "_pkg_installdir"}) {
      const json::value* value = description_.file.values.if_contains(key);
      if (value == nullptr || !value->is_string()) continue;
      const std::string_view name = framework::as_string(*value);
      const bool is_type = key == std::string_view("_type");
      const auto types = app::package_types();
      const bool is_taken =
          is_type && name != settings_.type &&
          (name == "shared.lock" || std::any_of(types.begin(), types.end(), [&](const auto& type) {
             return name == type.word || name == type.cache_folder;
           }));
      if (!is_package_name(name) || is_taken) {
        fault({key}, "managers refuse this folder; write " +
                         in_quotes(is_type ? settings_.type : to_string(description_.identity)) +
                         " or take it out");
      }
    }
  }

  const Description& description_;
  const Settings& settings_;
  const std::vector<std::string>& paths_;
  Faults& faults_;
  Faults& warnings_;
};

Result<Description> read(const fs::path& folder, pkg::name_semver_t identity) {
  Result<JsonFile> file = read_json_file(folder / kDescriptionName);
  if (!file) return tl::unexpected(file.error());
  return Description{std::move(identity), folder, std::move(*file)};
}

// The names of the folders in a folder.
std::vector<std::string> folders_in(const fs::path& folder, Faults& faults) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (entry->is_directory()) names.push_back(framework::path_to_utf8(entry->path().filename()));
  }
  if (error)
    faults.push_back(framework::system_error(framework::path_to_utf8(folder), error.value()).text);
  std::sort(names.begin(), names.end());
  return names;
}

void prefix_path(json::value& path, const std::string& prefix) {
  path = prefix + std::string(framework::as_string(path));
}

}  // namespace

bool Description::is_deprecated() const {
  const json::value* value = file.values.if_contains("deprecated");
  return value != nullptr && value->is_bool() && value->as_bool();
}

tl::expected<pkg::name_semver_t, std::string> full_identity(std::string_view text) {
  pkg::name_semver_t identity = pkg::parse_identity(text);
  if (!pkg::is_version_key(text) || pkg::to_string(identity) != text) {
    return tl::unexpected(in_quotes(text) +
                          " is no package version; write a name and three numbers of at most " +
                          std::to_string(pkg::kAnyPart - 1) + ", as in name-1.2.0");
  }
  if (!is_package_name(identity.name) || !is_package_name(text)) {
    return tl::unexpected(in_quotes(text) +
                          " can be no folder everywhere; write a name of letters, digits, \"-\", "
                          "\"_\" and \".\"");
  }
  return identity;
}

fs::path package_folder(const fs::path& store, const pkg::name_semver_t& identity) {
  const std::string version = pkg::to_string(identity).substr(identity.name.size() + 1);
  return store / "packages" / framework::path_from_utf8(identity.name) / version;
}

Result<Description> read_description(const fs::path& store, const pkg::name_semver_t& identity) {
  const fs::path folder = package_folder(store, identity);
  if (framework::is_missing(folder)) {
    return tl::unexpected(IoError{framework::path_to_utf8(folder) + ": there is no " +
                                  to_string(identity) + " in this store"});
  }
  return read(folder, identity);
}

std::vector<Description> read_descriptions(const fs::path& store, Faults& faults) {
  std::vector<Description> all;
  const fs::path packages = store / "packages";
  if (framework::is_missing(packages)) return all;  // version control keeps no empty folder
  for (const std::string& name : folders_in(packages, faults)) {
    const fs::path of_name = packages / framework::path_from_utf8(name);
    for (const std::string& version : folders_in(of_name, faults)) {
      const fs::path folder = of_name / framework::path_from_utf8(version);
      auto identity = full_identity(name + "-" + version);
      if (!identity || identity->name != name) {
        faults.push_back(framework::path_to_utf8(folder) + ": " +
                         (identity ? "take the version out of the name" : identity.error()));
        continue;
      }
      Result<Description> description = read(folder, std::move(*identity));
      if (description) {
        all.push_back(std::move(*description));
      } else {
        faults.push_back(description.error().text);
      }
    }
  }
  std::sort(all.begin(), all.end(),
            [](const Description& a, const Description& b) { return a.identity < b.identity; });
  return all;
}

Result<void> write_description(const Description& description) {
  return write_whole_file(description.folder / kDescriptionName,
                          readable_json(description.file.values));
}

void check_description(const Description& description, const Settings& settings,
                       const std::vector<std::string>& paths, Faults& faults, Faults& warnings) {
  Checker(description, settings, paths, faults, warnings).check();
}

std::string member_path(const Settings& settings, const pkg::name_semver_t& identity) {
  return settings.type + "/" + to_string(identity) + "/" + settings.member;
}

json::object list_entry(const Description& description, const Settings& settings,
                        const std::string& digest) {
  const std::string member = member_path(settings, description.identity);
  const std::string prefix = member + "|zip/";
  json::object entry = {{"_name", description.identity.name},
                        {"_type", settings.type},
                        {"_pkg_installdir", to_string(description.identity)}};
  for (const json::key_value_pair& given : description.file.values) {
    if (given.key() == "deprecated") continue;
    json::value value = given.value();
    if (given.key() == "catalogs" || given.key() == "namespace_catalog") {
      for (json::key_value_pair& name : value.as_object()) {
        prefix_path(name.value().is_object() ? name.value().as_object().at("path") : name.value(),
                    prefix);
      }
    }
    entry[given.key()] = std::move(value);
  }
  entry["files"] = json::object{{member, digest}};
  return entry;
}

}  // namespace zendro::store
