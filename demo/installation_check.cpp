#include "demo/installation_check.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include <pugixml.hpp>

#include "framework/io/digest.h"
#include "framework/text/json.h"

#include "store/source_files.h"

namespace zendro::demo {

namespace fs = std::filesystem;
namespace json = framework::json;
using framework::as_map;
using framework::as_string;

namespace {

constexpr std::string_view kPackageUrl = "zendro://pkg/";

/// What a catalog maps to what.
using Entries = std::map<std::string, std::string>;

Entries read_catalog(const fs::path& path) {
  const std::string bytes = store::read_whole_file(path);
  pugi::xml_document document;
  const pugi::xml_node root = document.load_buffer(bytes.data(), bytes.size())
                                  ? document.child("catalog")
                                  : pugi::xml_node();
  if (!root) {
    throw std::runtime_error(path.string() + " is no catalog");
  }
  Entries entries;
  for (const pugi::xml_node& entry : root.children()) {
    const std::string_view kind = entry.name();
    if (kind == "rewriteURI") {
      entries[entry.attribute("uriStartString").value()] = entry.attribute("rewritePrefix").value();
    } else if (kind == "public") {
      entries[entry.attribute("publicId").value()] = entry.attribute("uri").value();
    } else {
      entries[entry.attribute("name").value()] = entry.attribute("uri").value();
    }
  }
  return entries;
}

/// The name of a member in its package's folder; names in the demonstration store hold nothing but
/// slashes that must not stand in a file name.
std::string local_name(std::string_view member) {
  std::string name;
  for (const char c : member) {
    name += c == '/' ? std::string("%2F") : std::string(1, c);
  }
  return name;
}

class Check {
 public:
  Check(fs::path packages, std::string type, const std::set<std::string>& identities)
      : packages_(std::move(packages)), type_(std::move(type)), identities_(identities) {}

  std::string run() {
    const fs::path cache = packages_ / (type_ == "xsd" ? ".xsd_cache" : ".cache");
    const auto list = framework::parse_json(store::read_whole_file(cache / "pkgs-installed.json"));
    if (!list) {
      throw std::runtime_error("pkgs-installed.json: " + list.error());
    }
    locations_ = read_catalog(cache / "catalog.xml");
    names_ = read_catalog(cache / "namespace-mapping-catalog.xml");
    mappings_ = read_catalog(cache / "remapping.xml");
    check_identities(as_map(*list));
    for (const auto& [identity, meta] : as_map(*list)) {
      if (identity != "_META" && identity != "_DEPRECATED") {
        check_members(identity, as_map(meta));
        check_catalogs(identity, as_map(meta));
      }
    }
    check_folders();
    check_targets();
    return faults_;
  }

 private:
  void fault(const std::string& text) { faults_ += text + "\n"; }

  void check_identities(const json::object& list) {
    for (const std::string& identity : identities_) {
      if (!list.contains(identity)) {
        fault(identity + " is not in the installed list");
      }
    }
    for (const auto& [key, value] : list) {
      if (key != "_META" && key != "_DEPRECATED" && !identities_.contains(std::string(key))) {
        fault(std::string(key) + " is in the installed list");
      }
    }
  }

  void check_members(const std::string& identity, const json::object& meta) {
    const fs::path folder = packages_ / std::string(as_string(meta.at("_type"))) /
                            std::string(as_string(meta.at("_pkg_installdir")));
    for (const auto& [member, digest] : as_map(meta.at("files"))) {
      const fs::path file = folder / local_name(member);
      if (!fs::is_regular_file(file)) {
        fault(identity + ": no file " + file.string());
      } else if (framework::to_hex(framework::sha256(store::read_whole_file(file))) !=
                 as_string(digest)) {
        fault(identity + ": wrong digest of " + file.string());
      }
    }
  }

  void check_catalogs(const std::string& identity, const json::object& meta) {
    check_keys(identity, meta, "catalogs", locations_);
    check_keys(identity, meta, "namespace_catalog", names_);
    check_keys(identity, meta, "uri_mappings", mappings_);
  }

  void check_keys(const std::string& identity, const json::object& meta, std::string_view member,
                  const Entries& catalog) {
    const json::value* entries = meta.if_contains(member);
    if (entries == nullptr) {
      return;
    }
    for (const auto& [key, value] : as_map(*entries)) {
      if (!catalog.contains(std::string(key))) {
        fault(identity + ": no catalog entry for " + std::string(key));
      }
    }
  }

  void check_folders() {
    const fs::path folder = packages_ / type_;
    if (!fs::exists(folder)) {
      return;
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename().string();
      if (!identities_.contains(name)) {
        fault("a folder is left: " + entry.path().string());
      }
    }
  }

  /// Every target is a member that is installed; namespaces get there in a second step.
  void check_targets() {
    for (const auto& [key, target] : locations_) {
      check_target(key, target);
    }
    for (const auto& [key, target] : names_) {
      const auto second = locations_.find(target);
      check_target(key, second == locations_.end() ? target : second->second);
    }
    if (identities_.empty() && !mappings_.empty()) {
      fault("mappings are left");
    }
  }

  void check_target(const std::string& key, const std::string& target) {
    const auto end = target.find('/', kPackageUrl.size());
    if (!target.starts_with(kPackageUrl) || end == std::string::npos ||
        !identities_.contains(target.substr(kPackageUrl.size(), end - kPackageUrl.size()))) {
      fault(key + " leads to " + target + ", which is not installed");
      return;
    }
    const std::string identity = target.substr(kPackageUrl.size(), end - kPackageUrl.size());
    const std::string member = target.substr(end + 1, target.find("%7Czip") - end - 1);
    if (!fs::is_regular_file(packages_ / type_ / identity / local_name(member))) {
      fault(key + " leads to " + target + ", where no file is");
    }
  }

  fs::path packages_;
  std::string type_;
  const std::set<std::string>& identities_;
  Entries locations_;
  Entries names_;
  Entries mappings_;
  std::string faults_;
};

}  // namespace

std::string check_installation(const fs::path& packages, const std::string& type,
                               const std::set<std::string>& identities) {
  return Check(packages, type, identities).run();
}

}  // namespace zendro::demo
