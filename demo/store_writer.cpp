#include "demo/store_writer.h"

#include <algorithm>
#include <stdexcept>

#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/text/json.h"

#include "store/zip_writer.h"

namespace zendro::demo {

namespace fs = std::filesystem;
namespace json = framework::json;

namespace {

constexpr const char* kListName = "pkgs-available.json";

void write_file(const fs::path& path, std::string_view bytes) {
  const auto made = framework::create_folders(path.parent_path());
  if (!made) throw std::runtime_error(made.error().text);
  const auto written = framework::write_file(path, bytes);
  if (!written) throw std::runtime_error(written.error().cause.text);
}

json::array array_of(const std::vector<std::string>& texts) {
  json::array array;
  for (const std::string& text : texts) {
    array.emplace_back(text);
  }
  return array;
}

json::object locations_of(const Draft& draft) {
  json::object locations;
  for (const auto& [location, path] : draft.locations) {
    locations[location] = draft.member + "|zip/" + path;
  }
  return locations;
}

json::object names_of(const Draft& draft) {
  json::object names;
  for (const auto& [xml_namespace, path] : draft.namespaces) {
    names[xml_namespace] = draft.member + "|zip/" + path;
  }
  for (const auto& [public_id, path] : draft.public_ids) {
    names[public_id] = json::object{{"path", draft.member + "|zip/" + path}, {"public", true}};
  }
  return names;
}

void set_unless_empty(json::object& meta, std::string_view key, json::object value) {
  if (!value.empty()) {
    meta[key] = std::move(value);
  }
}

json::object metadata_of(const StoreRecipe& store, const Draft& draft,
                         const std::string& member_digest) {
  const pkg::name_semver_t& identity = draft.recipe.identity;
  const std::string folder = pkg::to_string(identity);
  json::object meta;
  meta["_name"] = identity.name;
  meta["_type"] = store.type;
  meta["_pkg_installdir"] = folder;
  meta["_pkgurl"] = store.type + "/" + folder + "/";
  meta["version"] = folder.substr(identity.name.size() + 1);
  meta["major_version"] = std::to_string(identity.version.major);
  meta["title"] = draft.title;
  meta["description"] = draft.description;
  meta["homepage"] = draft.homepage;
  if (!draft.publisher.empty()) {
    meta["publisher"] = draft.publisher;
  }
  if (!draft.recipe.references.empty()) {
    meta["references"] = array_of(draft.recipe.references);
  }
  if (!draft.recipe.conflicts.empty()) {
    meta["conflicting_pkgs"] = array_of(draft.recipe.conflicts);
  }
  meta["files"] = json::object{{draft.member, member_digest}};
  set_unless_empty(meta, "catalogs", locations_of(draft));
  set_unless_empty(meta, "namespace_catalog", names_of(draft));
  json::object mappings;
  for (const auto& [from, to] : draft.recipe.uri_mappings) {
    mappings[from] = to;
  }
  set_unless_empty(meta, "uri_mappings", std::move(mappings));
  json::array entry_points;
  for (const store::EntryPoint& entry : draft.entry_points) {
    entry_points.push_back(json::object{{"name", entry.name}, {"href", entry.location}});
  }
  if (!entry_points.empty()) {
    meta["entrypoints"] = std::move(entry_points);
  }
  return meta;
}

/// A JSON map with one member a line.
std::string lines_of(const json::object& map) {
  std::string text;
  for (const auto& [key, value] : map) {
    text += text.empty() ? "{\n" : ",\n";
    text += json::serialize(key) + ":" + json::serialize(value);
  }
  return text + "\n}\n";
}

void write_list(const json::object& list, const fs::path& folder) {
  const std::string archive = store::write_zip({{kListName, lines_of(list)}});
  const std::string name = std::string(kListName) + ".zip";
  write_file(folder / name, archive);
  write_file(folder / (name + ".sha256"),
             framework::to_hex(framework::sha256(archive)) + "  " + name + "\n");
}

}  // namespace

void write_store(const StoreRecipe& store, const std::vector<Draft>& drafts,
                 std::int64_t build_number, const fs::path& folder) {
  std::vector<const Draft*> sorted;
  for (const Draft& draft : drafts) {
    sorted.push_back(&draft);
  }
  std::sort(sorted.begin(), sorted.end(),
            [](const Draft* a, const Draft* b) { return a->recipe.identity < b->recipe.identity; });

  json::object deprecated;
  json::object available;
  json::object provided_packages;
  json::array provides;
  std::vector<store::SourceFile> package_file;
  for (const Draft* draft : sorted) {
    const std::string identity = pkg::to_string(draft->recipe.identity);
    std::string archive = store::write_zip(draft->files);
    json::object meta = metadata_of(store, *draft, framework::to_hex(framework::sha256(archive)));
    if (draft->recipe.in_package_file) {
      provides.emplace_back(identity);
      provided_packages[identity] = std::move(meta);
      package_file.push_back({draft->member, std::move(archive)});
      continue;
    }
    write_file(folder / draft->member, archive);
    (draft->recipe.deprecated ? deprecated : available)[identity] = std::move(meta);
  }

  json::object list;
  list["_META"] = json::object{{"build_number", build_number}};
  list["_DEPRECATED"] = std::move(deprecated);
  for (auto& [identity, meta] : available) {
    list[identity] = std::move(meta);
  }
  write_list(list, folder);

  if (!package_file.empty()) {
    json::object meta_file;
    meta_file["provides"] = std::move(provides);
    for (auto& [identity, meta] : provided_packages) {
      meta_file[identity] = std::move(meta);
    }
    package_file.push_back({"ZENDROPKG-INF/pkg-meta.json", lines_of(meta_file)});
    write_file(folder / store.package_file, store::write_zip(std::move(package_file)));
  }
}

}  // namespace zendro::demo
