#include "store/scan/package_scan.h"

#include <algorithm>
#include <stdexcept>

#include "store/scan/catalog_scan.h"
#include "store/scan/dtd_scan.h"
#include "store/scan/schema_scan.h"

namespace zendro::store {
namespace {

constexpr std::size_t kTitleLength = 100;
constexpr std::size_t kDescriptionLength = 300;
constexpr std::string_view kTaxonomyPackage = "META-INF/taxonomyPackage.xml";

std::string_view file_name(std::string_view path) { return path.substr(path.rfind('/') + 1); }

class Scan {
 public:
  explicit Scan(const std::vector<SourceFile>& files) : files_(files) {}

  PackageScan scan() {
    const bool is_taxonomy_package = read_taxonomy_package();
    for (const SourceFile& file : files_) {
      if (is_catalog(file)) offer_catalog(file);
      read_document(file);
    }
    offer_schemas();
    offer_sought_locations();
    if (!is_taxonomy_package) describe();
    find_open();
    return std::move(result_);
  }

 private:
  bool read_taxonomy_package() {
    const SourceFile* found = nullptr;
    for (const SourceFile& file : files_) {
      if (file.path != kTaxonomyPackage &&
          !file.path.ends_with("/" + std::string(kTaxonomyPackage))) {
        continue;
      }
      if (found != nullptr) {
        throw std::runtime_error(file.path + ": a second taxonomy package, besides " + found->path +
                                 "; add each as a package of its own");
      }
      found = &file;
    }
    if (found != nullptr) result_.words = scan_taxonomy_package(*found);
    return found != nullptr;
  }

  void read_document(const SourceFile& file) {
    auto document = scan_schema(file);
    if (!document) document = scan_dtd(file);
    if (document) result_.documents.push_back(std::move(*document));
  }

  static bool is_catalog(const SourceFile& file) {
    return (file.path.ends_with(".xml") || file_name(file.path) == "catalog") &&
           file.bytes.find("urn:oasis:names:tc:entity:xmlns:xml:catalog") != std::string::npos &&
           file.bytes.find("catalog") != std::string::npos;
  }

  void offer_catalog(const SourceFile& catalog) {
    const CatalogEntries entries = scan_catalog(catalog);
    const auto offer = [&](const auto& from, auto& to) {
      for (const auto& [name, path] : from) {
        if (find_file(files_, path) != nullptr) {
          to.emplace(name, path);
        } else {
          leads_nowhere(catalog, name, path);
        }
      }
    };
    offer(entries.locations, result_.locations);
    offer(entries.public_ids, result_.public_ids);
    for (const auto& [prefix, path] : entries.prefixes) offer_prefix(catalog, prefix, path);
  }

  // A prefix that is no folder on both sides is written as the locations that it stands for.
  void offer_prefix(const SourceFile& catalog, const std::string& prefix, const std::string& path) {
    const auto first = std::lower_bound(
        files_.begin(), files_.end(), path,
        [](const SourceFile& file, const std::string& wanted) { return file.path < wanted; });
    if (first == files_.end() || !first->path.starts_with(path)) {
      leads_nowhere(catalog, prefix, path);
    } else if (prefix.ends_with('/') && path.ends_with('/')) {
      result_.locations.emplace(prefix, path);
    } else {
      for (auto file = first; file != files_.end() && file->path.starts_with(path); ++file) {
        result_.locations.emplace(prefix + file->path.substr(path.size()), file->path);
      }
    }
  }

  void leads_nowhere(const SourceFile& catalog, const std::string& name, const std::string& path) {
    result_.remarks.push_back(catalog.path + ": the entry for " + name + " leads to " +
                              (path.starts_with("..") ? "a place outside of the package: " : "") +
                              path + ", which is not there; it is left out");
  }

  /// Whether another schema of the same target namespace takes this one in.
  [[nodiscard]] bool is_part_of_another(const Document& part) const {
    return std::any_of(
        result_.documents.begin(), result_.documents.end(), [&](const Document& document) {
          return document.path != part.path && document.xml_namespace == part.xml_namespace &&
                 std::any_of(document.demands.begin(), document.demands.end(),
                             [&](const Demand& demand) {
                               return demand.xml_namespace.empty() &&
                                      resolve_path(document.path, demand.location) == part.path;
                             });
        });
  }

  void offer_schemas() {
    for (const Document& document : result_.documents) {
      if (!document.own_location.empty()) {
        result_.locations.emplace(document.own_location, document.path);
      }
      if (document.xml_namespace.empty() || is_part_of_another(document)) continue;
      const auto [at, is_new] = result_.namespaces.emplace(document.xml_namespace, document.path);
      if (!is_new) {
        result_.remarks.push_back("namespace " + document.xml_namespace + " is that of " +
                                  at->second + " and of " + document.path + "; the first is taken");
      }
    }
  }

  // The location that a schema is imported from is one of its own where the file is the same.
  void offer_sought_locations() {
    for (const Document& document : result_.documents) {
      for (const Demand& demand : document.demands) {
        if (!is_absolute(demand.location) || covers(demand.location)) continue;
        for (const Document& other : result_.documents) {
          if (!demand.xml_namespace.empty() && other.xml_namespace == demand.xml_namespace &&
              file_name(other.path) == file_name(demand.location)) {
            result_.locations.emplace(demand.location, other.path);
          }
        }
      }
    }
  }

  [[nodiscard]] bool covers(const std::string& location) const {
    if (result_.locations.contains(location)) return true;
    return std::any_of(result_.locations.begin(), result_.locations.end(), [&](const auto& each) {
      return each.first.ends_with('/') && location.starts_with(each.first) &&
             find_file(files_, each.second + location.substr(each.first.size())) != nullptr;
    });
  }

  // The first document that no other one needs, and that says something, speaks for all.
  void describe() {
    const Document* speaker = nullptr;
    for (const Document& document : result_.documents) {
      if (document.text.empty() || is_part_of_another(document)) continue;
      if (speaker == nullptr) speaker = &document;
    }
    TaxonomyPackage& words = result_.words;
    if (speaker != nullptr) {
      words.description = first_sentences(speaker->text, kDescriptionLength);
      words.homepage = first_url(speaker->text);
      const std::string title = first_sentences(speaker->text, 1);
      if (title.size() <= kTitleLength) words.title = title;
      if (words.title.ends_with('.')) words.title.pop_back();
    }
    if (!result_.public_ids.empty()) {
      words.publisher = owner_of_public_id(result_.public_ids.begin()->first);
    }
  }

  [[nodiscard]] bool is_satisfied(const Document& document, const Demand& demand) const {
    if (result_.public_ids.contains(demand.public_id) || covers(demand.location)) return true;
    if (demand.location.empty()) {
      return result_.namespaces.contains(demand.xml_namespace) || demand.xml_namespace.empty();
    }
    return !is_absolute(demand.location) &&
           find_file(files_, resolve_path(document.path, demand.location)) != nullptr;
  }

  void find_open() {
    for (const Document& document : result_.documents) {
      for (const Demand& demand : document.demands) {
        if (!is_satisfied(document, demand)) result_.open.push_back({document.path, demand});
      }
    }
  }

  const std::vector<SourceFile>& files_;
  PackageScan result_;
};

}  // namespace

framework::Result<PackageScan> scan_package(const std::vector<SourceFile>& files) {
  try {
    return Scan(files).scan();
  } catch (const std::runtime_error& failure) {
    return tl::unexpected(framework::IoError{failure.what()});
  }
}

}  // namespace zendro::store
