#include "demo/links.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace zendro::demo {

namespace {

/// The path that a location leads to by the package's location entries; empty if none covers it.
std::string covered_path(const Draft& draft, const std::string& location) {
  const auto exact = draft.locations.find(location);
  if (exact != draft.locations.end()) {
    return exact->second;
  }
  for (const auto& [prefix, folder] : draft.locations) {
    if (prefix.ends_with('/') && folder.ends_with('/') && location.starts_with(prefix)) {
      std::string path = folder + location.substr(prefix.size());
      if (store::find_file(draft.files, path) != nullptr) {
        return path;
      }
    }
  }
  return {};
}

bool offers_by_name(const Draft& draft, const store::Demand& demand) {
  return draft.public_ids.contains(demand.public_id) ||
         !covered_path(draft, demand.location).empty();
}

/// Whether the package itself holds what one of its documents needs.
bool is_satisfied_inside(const Draft& draft, const store::Document& document,
                         const store::Demand& demand) {
  if (offers_by_name(draft, demand)) {
    return true;
  }
  if (demand.location.empty()) {
    return std::any_of(draft.documents.begin(), draft.documents.end(), [&](const auto& each) {
      return !demand.xml_namespace.empty() && each.xml_namespace == demand.xml_namespace;
    });
  }
  return !store::is_absolute(demand.location) &&
         store::find_file(draft.files, store::resolve_path(document.path, demand.location)) !=
             nullptr;
}

/// The location that a tool asks its catalogs for when it reads the document in its package.
std::string sought_location(const Draft& draft, const store::Document& document,
                            const store::Demand& demand) {
  if (demand.location.empty() || store::is_absolute(demand.location)) {
    return demand.location;
  }
  const std::string path = store::resolve_path(document.path, demand.location);
  if (path.starts_with("..") || path.starts_with('/')) {
    return {};
  }
  return "zendro://pkg/" + pkg::to_string(draft.recipe.identity) + "/" + draft.member + "%7Czip/" +
         path;
}

/// The schema of a namespace, preferably the one with the file name that is asked for.
std::string schema_for(const Draft& draft, const store::Demand& demand) {
  const auto file_name = [](std::string_view path) { return path.substr(path.rfind('/') + 1); };
  for (const store::Document& document : draft.documents) {
    if (document.xml_namespace == demand.xml_namespace &&
        file_name(document.path) == file_name(demand.location)) {
      return document.path;
    }
  }
  return draft.namespaces.at(demand.xml_namespace);
}

bool offers(const Draft& draft, const store::Demand& demand) {
  return offers_by_name(draft, demand) || draft.namespaces.contains(demand.xml_namespace);
}

class Linker {
 public:
  Linker(std::vector<Draft>& drafts, const std::set<std::string>& builtin)
      : drafts_(drafts), builtin_(builtin) {}

  void link(Draft& draft) {
    std::map<std::string, std::vector<Draft*>> references;
    for (const std::string& text : draft.recipe.references) {
      references[text] = matches_of(draft, text);
      if (references[text].empty()) {
        fault(draft, "reference " + text + " matches no package of the store");
      }
    }
    for (const std::string& text : draft.recipe.conflicts) {
      if (matches_of(draft, text).empty()) {
        fault(draft, "conflict " + text + " matches no package of the store");
      }
    }
    for (const store::Document& document : draft.documents) {
      for (const store::Demand& demand : document.demands) {
        satisfy(draft, document, demand, references);
      }
    }
    for (const auto& [text, packages] : references) {
      if (!used_.contains(text)) {
        fault(draft, "none of its documents needs the reference " + text);
      }
    }
    used_.clear();
  }

  [[nodiscard]] const std::string& faults() const { return faults_; }

 private:
  /// Packages that a reference or conflict means. Only a package file sees its own packages.
  std::vector<Draft*> matches_of(const Draft& draft, const std::string& text) {
    const pkg::name_semver_t pattern = pkg::parse_identity(text);
    std::vector<Draft*> matching;
    for (Draft& each : drafts_) {
      if (&each != &draft && each.recipe.identity.name == pattern.name &&
          pkg::matches(pattern.version, each.recipe.identity.version) && !each.recipe.deprecated &&
          (!each.recipe.in_package_file || draft.recipe.in_package_file)) {
        matching.push_back(&each);
      }
    }
    return matching;
  }

  void satisfy(const Draft& draft, const store::Document& document, const store::Demand& demand,
               const std::map<std::string, std::vector<Draft*>>& references) {
    const PackageRecipe& recipe = draft.recipe;
    if (is_satisfied_inside(draft, document, demand) ||
        recipe.known_missing.contains(demand.location) ||
        recipe.known_missing.contains(demand.public_id)) {
      return;
    }
    bool satisfied = false;
    for (const auto& [text, packages] : references) {
      // Any of the versions may be the one that is installed.
      if (!packages.empty() &&
          std::all_of(packages.begin(), packages.end(),
                      [&](const Draft* each) { return offers(*each, demand); })) {
        satisfied = true;
        used_.insert(text);
        offer_location(packages, sought_location(draft, document, demand), demand);
      }
    }
    if (!satisfied && !builtin_.contains(demand.xml_namespace) &&
        !builtin_.contains(demand.location)) {
      fault(draft, document.path + " needs \"" + demand.location + "\" (namespace \"" +
                       demand.xml_namespace + "\", public identifier \"" + demand.public_id +
                       "\"), which neither the package nor its references offer");
    }
  }

  static void offer_location(const std::vector<Draft*>& packages, const std::string& location,
                             const store::Demand& demand) {
    for (Draft* each : packages) {
      if (!location.empty() && !offers_by_name(*each, demand)) {
        each->locations.emplace(location, schema_for(*each, demand));
      }
    }
  }

  void fault(const Draft& draft, const std::string& text) {
    faults_ += pkg::to_string(draft.recipe.identity) + ": " + text + "\n";
  }

  std::vector<Draft>& drafts_;
  const std::set<std::string>& builtin_;
  std::set<std::string> used_;
  std::string faults_;
};

}  // namespace

void link_packages(std::vector<Draft>& drafts, const std::set<std::string>& builtin) {
  Linker linker(drafts, builtin);
  for (Draft& draft : drafts) {
    linker.link(draft);
  }
  if (!linker.faults().empty()) {
    throw std::runtime_error(linker.faults());
  }
}

}  // namespace zendro::demo
