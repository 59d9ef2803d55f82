#include "store/add.h"

#include <algorithm>
#include <map>
#include <set>

#include "framework/system/files.h"
#include "framework/system/system_error.h"
#include "pkg/local/contents.h"

#include "store/package_files.h"
#include "store/whole_file.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;

Result<std::vector<SourceFile>> read_source(const fs::path& path) {
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) return read_folder(path);
  const std::string name = framework::path_to_utf8(path.filename());
  constexpr std::uint64_t kBeginning = 4;
  const framework::OpenedStream stream = framework::open_file(path);
  if (!stream) return tl::unexpected(stream.error());
  std::string beginning(kBeginning, '\0');
  const bool is_archive =
      (*stream)->read(beginning.data(), kBeginning) == static_cast<std::int64_t>(kBeginning) &&
      beginning.starts_with("PK\x03\x04");
  if (is_archive) return read_archive(path);
  if (name.ends_with(".zip")) {
    return tl::unexpected(IoError{framework::path_to_utf8(path) + ": this is no zip archive"});
  }
  auto bytes = framework::read_file(path, 1u << 30);
  if (!bytes) return tl::unexpected(bytes.error());
  return std::vector<SourceFile>{{name, std::move(*bytes)}};
}

Result<std::vector<SourceFile>> read_sources(const std::vector<std::string>& sources) {
  std::vector<SourceFile> files;
  pkg::local::contents_t contents;
  for (const std::string& source : sources) {
    Result<std::vector<SourceFile>> some = read_source(framework::path_from_utf8(source));
    if (!some) return some;
    for (SourceFile& file : *some) {
      if (const auto noted = contents.add_file(file.path); !noted) {
        return tl::unexpected(IoError{source + ": " + file.path + ": " + noted.error()});
      }
      files.push_back(std::move(file));
    }
  }
  if (files.empty()) return tl::unexpected(IoError{sources.front() + ": there are no files"});
  std::sort(files.begin(), files.end(),
            [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
  return files;
}

json::array array_of(const std::vector<std::string>& texts) {
  json::array array;
  for (const std::string& text : texts) array.emplace_back(text);
  return array;
}

void set_text(json::object& values, std::string_view key, const std::string& given,
              const std::string& read) {
  const std::string& text = given.empty() ? read : given;
  if (!text.empty()) values[key] = text;
}

std::vector<std::string> references_of(const Wanted& wanted,
                                       const std::vector<Fulfilment>& demands) {
  std::vector<std::string> references = wanted.references;
  for (const Fulfilment& demand : demands) {
    if (!demand.reference.empty() &&
        std::find(references.begin(), references.end(), demand.reference) == references.end()) {
      references.push_back(demand.reference);
    }
  }
  return references;
}

json::object describe(const Wanted& wanted, const PackageScan& scan,
                      const std::vector<std::string>& references) {
  json::object values;
  set_text(values, "title", wanted.title,
           scan.words.title.empty() ? wanted.name : scan.words.title);
  set_text(values, "description", wanted.description, scan.words.description);
  set_text(values, "homepage", wanted.homepage, scan.words.homepage);
  set_text(values, "publisher", wanted.publisher, scan.words.publisher);
  values["references"] = array_of(references);
  if (!wanted.conflicts.empty()) values["conflicting_pkgs"] = array_of(wanted.conflicts);
  json::object& locations = values["catalogs"].emplace_object();
  for (const auto& [location, path] : scan.locations) locations[location] = path;
  json::object& names = values["namespace_catalog"].emplace_object();
  for (const auto& [xml_namespace, path] : scan.namespaces) names[xml_namespace] = path;
  for (const auto& [public_id, path] : scan.public_ids) {
    names[public_id] = json::object{{"path", path}, {"public", true}};
  }
  if (!scan.words.entry_points.empty()) {
    json::array& entries = values["entrypoints"].emplace_array();
    for (const EntryPoint& entry : scan.words.entry_points) {
      entries.push_back(json::object{{"name", entry.name}, {"href", entry.location}});
    }
  }
  if (!scan.words.versioning_reports.empty()) {
    values["versioning_reports"] = array_of(scan.words.versioning_reports);
  }
  return values;
}

// The locations of a version that its own files do not tell of: others have asked for them, or
// somebody has written them.
std::map<std::string, std::string> further_locations(const Description& version) {
  std::map<std::string, std::string> further;
  const json::value* locations = version.file.values.if_contains("catalogs");
  const auto files = read_folder(version.files());
  const auto scan = files ? scan_package(*files) : tl::unexpected(files.error());
  if (locations == nullptr || !locations->is_object() || !scan) return further;
  for (const json::key_value_pair& each : locations->as_object()) {
    const std::string location(each.key());
    if (each.value().is_string() && !scan->locations.contains(location)) {
      further[location] = framework::as_string(each.value());
    }
  }
  return further;
}

// What is replaced, or else the newest other patch level, hands on its further locations.
void take_over(const std::vector<Description>& versions, const std::vector<SourceFile>& files,
               const pkg::name_semver_t& identity, std::map<std::string, std::string>& locations) {
  const Description* before = nullptr;
  for (const Description& one : versions) {
    const auto& [name, version] = one.identity;
    const bool is_of_line = name == identity.name && version.major == identity.version.major &&
                            version.minor == identity.version.minor;
    if (is_of_line && (before == nullptr || one.identity == identity)) before = &one;
  }
  if (before == nullptr) return;
  for (const auto& [location, path] : further_locations(*before)) {
    const bool is_there =
        path.ends_with('/') ? has_folder(files, path) : find_file(files, path) != nullptr;
    if (is_there) locations.emplace(location, path);
  }
}

// All is written beside its place, which it gets when it is whole.
Result<void> put(const fs::path& store, const Description& description,
                 const std::vector<SourceFile>& files) {
  const fs::path unfinished = store / ".unfinished";
  std::error_code error;
  fs::remove_all(unfinished, error);
  Description staged = description;
  staged.folder = unfinished;
  Result<void> done = write_description(staged);
  for (const SourceFile& file : files) {
    if (!done) break;
    done = write_whole_file(staged.files() / framework::path_from_utf8(file.path), file.bytes,
                            Durability::proved_later);
  }
  if (done) {
    fs::create_directories(description.folder.parent_path(), error);
    if (!error) fs::remove_all(description.folder, error);
    if (!error) fs::rename(unfinished, description.folder, error);
    if (error) {
      done = tl::unexpected(
          framework::system_error(framework::path_to_utf8(description.folder), error.value()));
    }
  }
  std::error_code ignored;
  if (!done) fs::remove_all(unfinished, ignored);
  return done;
}

}  // namespace

Result<Added> add_package(const fs::path& store, const std::vector<std::string>& sources,
                          const Wanted& wanted) {
  const Result<Settings> settings = read_settings(store);
  if (!settings) return tl::unexpected(settings.error());
  const auto identity = full_identity(wanted.name + "-" + wanted.version);
  if (!identity) return tl::unexpected(IoError{identity.error()});
  if (identity->name != wanted.name) {
    return tl::unexpected(
        IoError{"\"" + wanted.version + "\" is no version; write three numbers, " + "as in 1.2.0"});
  }
  Added added;
  added.description.identity = *identity;
  added.description.folder = package_folder(store, *identity);
  if (!framework::is_missing(added.description.folder) && !wanted.replace) {
    return tl::unexpected(IoError{framework::path_to_utf8(added.description.folder) +
                                  ": this version is there already; say --replace to replace it"});
  }
  Faults faults;
  std::vector<Description> others = read_descriptions(store, faults);
  if (!faults.empty()) return tl::unexpected(IoError{faults.front()});

  const Result<std::vector<SourceFile>> files = read_sources(sources);
  if (!files) return tl::unexpected(files.error());
  Result<PackageScan> scan = scan_package(*files);
  if (!scan) return tl::unexpected(IoError{sources.front() + ": " + scan.error().text});
  take_over(others, *files, *identity, scan->locations);
  std::erase_if(others, [&](const Description& one) { return one.identity == *identity; });
  added.demands = find_references(scan->open, wanted.references, others);
  added.description.file.values = describe(wanted, *scan, references_of(wanted, added.demands));
  added.files = files->size();
  added.locations = scan->locations.size();
  added.namespaces = scan->namespaces.size();
  added.public_ids = scan->public_ids.size();
  added.remarks = std::move(scan->remarks);

  const std::string member = member_path(*settings, *identity);
  std::set<Description*> changed;
  for (const Fulfilment& demand : added.demands) {
    if (demand.reference.empty()) continue;
    for (Description* one : offer_location(demand, *identity, member, others)) changed.insert(one);
  }
  if (auto done = put(store, added.description, *files); !done) return tl::unexpected(done.error());
  for (const Description* one : changed) {
    if (auto done = write_description(*one); !done) return tl::unexpected(done.error());
    added.changed.push_back(*one);
  }
  return added;
}

}  // namespace zendro::store
