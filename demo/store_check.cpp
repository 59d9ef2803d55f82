#include "demo/store_check.h"

#include <functional>
#include <map>
#include <stdexcept>
#include <vector>

#include "framework/io/digest.h"
#include "framework/text/json.h"
#include "pkg/name_semver.h"

#include "store/source_files.h"
#include "store/zip_reader.h"

namespace zendro::demo {

namespace json = framework::json;
using framework::as_array;
using framework::as_map;
using framework::as_string;

namespace {

constexpr const char* kList = "pkgs-available.json";

json::value parse(const std::vector<store::SourceFile>& files, const std::string& name) {
  const store::SourceFile* file = store::find_file(files, name);
  if (file == nullptr) {
    throw std::runtime_error(name + ": not there");
  }
  framework::ParsedJson document = framework::parse_json(file->bytes);
  if (!document) {
    throw std::runtime_error(name + ": " + document.error());
  }
  return std::move(*document);
}

class Checker {
 public:
  explicit Checker(std::string type) : type_(std::move(type)) {}

  /// Takes note of the packages that references and conflicts may mean.
  void know(const json::object& list) {
    for (const auto& [key, value] : list) {
      if (key != "_META" && key != "_DEPRECATED" && key != "provides") {
        known_.push_back(pkg::parse_identity(key));
      }
    }
  }

  /// Checks one package; `member_bytes` gives the bytes of a member by its path.
  void check(const std::string& identity, const json::object& meta,
             const std::function<std::string(const std::string&)>& member_bytes) {
    identity_ = identity;
    members_.clear();
    ++result_.packages;
    check_names(meta);
    for (const auto& [path, digest] : as_map(meta.at("files"))) {
      const std::string bytes = member_bytes(std::string(path));
      if (framework::to_hex(framework::sha256(bytes)) != as_string(digest)) {
        fault("wrong digest of " + std::string(path));
      }
      members_[std::string(path)] = store::read_zip(bytes);
    }
    for_each(meta, "catalogs", [this](std::string_view, const json::value& path) {
      ++result_.locations;
      check_path(as_string(path));
    });
    for_each(meta, "namespace_catalog", [this](std::string_view, const json::value& entry) {
      ++result_.names;
      check_path(as_string(entry.is_object() ? entry.as_object().at("path") : entry));
    });
    for_each(meta, "uri_mappings", [&](std::string_view, const json::value& target) {
      check_mapping(meta, as_string(target));
    });
    check_relations(meta, "references");
    check_relations(meta, "conflicting_pkgs");
  }

  void fault(const std::string& text) { result_.faults += identity_ + ": " + text + "\n"; }

  [[nodiscard]] const StoreCheck& result() const { return result_; }

 private:
  static void for_each(const json::object& meta, std::string_view key,
                       const std::function<void(std::string_view, const json::value&)>& use) {
    if (const json::value* value = meta.if_contains(key)) {
      for (const auto& [name, entry] : as_map(*value)) {
        use(name, entry);
      }
    }
  }

  void check_names(const json::object& meta) {
    const pkg::name_semver_t identity = pkg::parse_identity(identity_);
    if (pkg::to_string(identity) != identity_ || identity.version.patch == pkg::kAnyPart ||
        as_string(meta.at("_name")) != identity.name) {
      fault("identity and name do not agree");
    }
    if (as_string(meta.at("_type")) != type_ ||
        as_string(meta.at("_pkg_installdir")) != identity_) {
      fault("unexpected folder");
    }
  }

  /// "<member>|zip/<path>", where a path that ends with "/" is a folder.
  void check_path(std::string_view text) {
    constexpr std::string_view kMarker = "|zip/";
    const auto marker = text.find(kMarker);
    const auto member = members_.find(std::string(text.substr(0, marker)));
    if (marker == std::string_view::npos || member == members_.end()) {
      fault("no member of the package: " + std::string(text));
      return;
    }
    const std::string_view path = text.substr(marker + kMarker.size());
    if (path.ends_with('/') ? !store::has_folder(member->second, path)
                            : store::find_file(member->second, path) == nullptr) {
      fault("nothing at " + std::string(text));
    }
  }

  void check_mapping(const json::object& meta, std::string_view target) {
    bool leads_somewhere = false;
    for_each(meta, "catalogs", [&](std::string_view location, const json::value&) {
      leads_somewhere = leads_somewhere || location.starts_with(target);
    });
    if (!leads_somewhere) {
      fault("no location below the mapped prefix " + std::string(target));
    }
  }

  void check_relations(const json::object& meta, std::string_view key) {
    const json::value* relations = meta.if_contains(key);
    if (relations == nullptr) {
      return;
    }
    for (const json::value& text : as_array(*relations)) {
      const pkg::name_semver_t pattern = pkg::parse_identity(as_string(text));
      bool found = false;
      for (const pkg::name_semver_t& each : known_) {
        found = found || (each.name == pattern.name && pkg::matches(pattern.version, each.version));
      }
      if (!found) {
        fault("nothing matches " + std::string(as_string(text)) + " of " + std::string(key));
      }
    }
  }

  std::string type_;
  std::vector<pkg::name_semver_t> known_;
  std::string identity_;
  std::map<std::string, std::vector<store::SourceFile>> members_;
  StoreCheck result_;
};

}  // namespace

StoreCheck check_store(const std::filesystem::path& folder, const std::string& type,
                       const std::string& package_file) {
  const std::string name = std::string(kList) + ".zip";
  const std::string archive = store::read_whole_file(folder / name);
  const json::value document = parse(store::read_zip(archive), kList);
  const json::object& list = as_map(document);
  Checker checker(type);
  checker.know(list);
  if (store::read_whole_file(folder / (name + ".sha256")) !=
      framework::to_hex(framework::sha256(archive)) + "  " + name + "\n") {
    checker.fault("wrong digest of " + name);
  }
  const auto from_store = [&](const std::string& member) {
    return store::read_whole_file(folder / member);
  };
  for (const auto& [identity, meta] : list) {
    if (identity != "_META" && identity != "_DEPRECATED") {
      checker.check(std::string(identity), as_map(meta), from_store);
    }
  }
  for (const auto& [identity, meta] : as_map(list.at("_DEPRECATED"))) {
    checker.check(std::string(identity), as_map(meta), from_store);
  }
  if (package_file.empty()) {
    return checker.result();
  }
  const std::vector<store::SourceFile> files =
      store::read_zip(store::read_whole_file(folder / package_file));
  const json::value meta_file = parse(files, "ZENDROPKG-INF/pkg-meta.json");
  const json::object& provided = as_map(meta_file);
  for (const json::value& identity : as_array(provided.at("provides"))) {
    const auto from_package_file = [&](const std::string& member) {
      const store::SourceFile* file = store::find_file(files, member);
      return file == nullptr ? std::string() : file->bytes;
    };
    checker.check(std::string(as_string(identity)), as_map(provided.at(as_string(identity))),
                  from_package_file);
  }
  return checker.result();
}

}  // namespace zendro::demo
