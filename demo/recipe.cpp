#include "demo/recipe.h"

#include <stdexcept>

#include "framework/system/files.h"
#include "framework/text/json.h"

#include "store/source_files.h"

namespace zendro::demo {

namespace json = framework::json;
using framework::as_map;

namespace {

/// Typed reading of one JSON map; every member must be asked for, so that a misspelt one shows.
class MapReader {
 public:
  MapReader(const json::value& value, std::string label) : label_(std::move(label)) {
    try {
      map_ = &as_map(value);
    } catch (const framework::JsonError& error) {
      fail(error.what());
    }
  }

  const json::value* find(std::string_view key) {
    asked_.emplace(key);
    return map_->if_contains(key);
  }

  const json::value& get(std::string_view key) {
    const json::value* value = find(key);
    if (value == nullptr) {
      fail("no member " + std::string(key));
    }
    return *value;
  }

  void read(std::string_view key, std::string& out) {
    if (const json::value* value = find(key)) {
      out = text(key, *value);
    }
  }

  void read(std::string_view key, bool& out) {
    if (const json::value* value = find(key)) {
      if (!value->is_bool()) {
        fail(std::string(key) + " is no boolean");
      }
      out = value->as_bool();
    }
  }

  template <class Container>
  void read_texts(std::string_view key, Container& out) {
    if (const json::value* value = find(key)) {
      if (!value->is_array()) {
        fail(std::string(key) + " is no array");
      }
      out.clear();
      for (const json::value& each : value->as_array()) {
        out.insert(out.end(), text(key, each));
      }
    }
  }

  void read(std::string_view key, std::map<std::string, std::string>& out) {
    if (const json::value* value = find(key)) {
      for (const auto& [name, each] : MapReader(*value, label_ + "/" + std::string(key)).map()) {
        out[std::string(name)] = text(key, each);
      }
    }
  }

  [[nodiscard]] const json::object& map() const { return *map_; }
  [[nodiscard]] const std::string& label() const { return label_; }

  void check_all_asked() const {
    for (const auto& [key, value] : *map_) {
      if (!asked_.contains(std::string(key))) {
        fail("unknown member " + std::string(key));
      }
    }
  }

  [[noreturn]] void fail(const std::string& cause) const {
    throw std::runtime_error(label_ + ": " + cause);
  }

 private:
  [[nodiscard]] std::string text(std::string_view key, const json::value& value) const {
    if (!value.is_string()) {
      fail(std::string(key) + " is no string");
    }
    return std::string(value.as_string());
  }

  std::string label_;
  const json::object* map_ = nullptr;
  std::set<std::string> asked_;
};

/// The members that a package and each of its versions may have; a version's win.
void read_common(MapReader& reader, PackageRecipe& package) {
  reader.read_texts("members", package.members);
  reader.read_texts("support", package.support);
  reader.read("copies", package.copies);
  reader.read("catalog", package.catalog);
  reader.read("main", package.main);
  reader.read("title", package.title);
  reader.read("description", package.description);
  reader.read("homepage", package.homepage);
  reader.read("publisher", package.publisher);
  reader.read_texts("references", package.references);
  reader.read_texts("conflicts", package.conflicts);
  reader.read("uri_mappings", package.uri_mappings);
  reader.read_texts("known_missing", package.known_missing);
  reader.read("in_package_file", package.in_package_file);
}

void read_package(const json::value& value, const std::string& label,
                  std::vector<PackageRecipe>& out) {
  MapReader reader(value, label);
  PackageRecipe common;
  reader.read("name", common.identity.name);
  reader.read("source", common.source);
  reader.read("folder", common.folder);
  reader.read("taxonomy", common.taxonomy);
  read_common(reader, common);
  MapReader versions(reader.get("versions"), label + "/" + common.identity.name);
  reader.check_all_asked();
  for (const auto& [text, members] : versions.map()) {
    MapReader version(members, versions.label() + "-" + std::string(text));
    PackageRecipe package = common;
    package.identity = pkg::parse_identity(common.identity.name + "-" + std::string(text));
    if (package.identity.name != common.identity.name ||
        package.identity.version.patch == pkg::kAnyPart) {
      version.fail("not a name with a full version");
    }
    read_common(version, package);
    version.read("deprecated", package.deprecated);
    version.check_all_asked();
    out.push_back(std::move(package));
  }
}

StoreRecipe read_store(std::string type, const json::value& value, const std::string& file) {
  StoreRecipe store;
  store.type = std::move(type);
  MapReader reader(value, file + ": " + store.type);
  reader.read("package_file", store.package_file);
  reader.read("member", store.member);
  const json::value& packages = reader.get("packages");
  reader.check_all_asked();
  if (!packages.is_array()) {
    reader.fail("packages is no array");
  }
  for (const json::value& package : packages.as_array()) {
    read_package(package, reader.label(), store.packages);
  }
  return store;
}

}  // namespace

Recipe read_recipe(const std::filesystem::path& path) {
  const std::string file = framework::path_to_utf8(path);
  const auto document = framework::parse_json(store::read_whole_file(path));
  if (!document) {
    throw std::runtime_error(file + ": " + document.error());
  }
  MapReader reader(*document, file);
  Recipe recipe;
  recipe.build_number = framework::as_integer(reader.get("build_number"));
  reader.read_texts("builtin", recipe.builtin);
  MapReader stores(reader.get("stores"), file);
  reader.check_all_asked();
  for (const auto& [type, store] : stores.map()) {
    recipe.stores.push_back(read_store(std::string(type), store, file));
  }
  return recipe;
}

}  // namespace zendro::demo
