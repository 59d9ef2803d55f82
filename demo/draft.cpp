#include "demo/draft.h"

#include <algorithm>
#include <stdexcept>

#include "demo/taxonomy_generator.h"

#include "store/scan/catalog_scan.h"
#include "store/scan/dtd_scan.h"
#include "store/scan/schema_scan.h"

namespace zendro::demo {

namespace {

constexpr std::size_t kDescriptionLength = 300;

/// Some documents ask for a file beside them that their source ships elsewhere.
void take_copies(const SourceFolders& folders, Draft& draft) {
  const PackageRecipe& recipe = draft.recipe;
  for (const auto& copy : recipe.copies) {
    const std::string& path = copy.first;
    if (store::find_file(draft.files, path) != nullptr) {
      throw std::runtime_error("the copy " + path + " is there already");
    }
    store::SourceFile file =
        store::collect_files(folders.unpacked / recipe.source, recipe.folder, {copy.second})
            .front();
    file.path = path;
    const auto after =
        std::find_if(draft.files.begin(), draft.files.end(),
                     [&](const store::SourceFile& each) { return each.path > path; });
    draft.files.insert(after, std::move(file));
  }
}

void take_files(const SourceFolders& folders, Draft& draft) {
  const PackageRecipe& recipe = draft.recipe;
  if (!recipe.taxonomy.empty()) {
    draft.files = generate_taxonomy(folders.taxonomies / recipe.taxonomy, recipe.identity);
    return;
  }
  std::vector<std::string> patterns = recipe.members;
  patterns.insert(patterns.end(), recipe.support.begin(), recipe.support.end());
  draft.files = store::collect_files(folders.unpacked / recipe.source, recipe.folder, patterns);
  take_copies(folders, draft);
}

/// Whether a file is one that the package is made for, not merely carried along.
bool is_offered(const Draft& draft, std::string_view path) {
  return !draft.recipe.copies.contains(std::string(path)) &&
         std::none_of(draft.recipe.support.begin(), draft.recipe.support.end(),
                      [&](const auto& pattern) { return store::path_matches(pattern, path); });
}

void read_documents(Draft& draft) {
  for (const store::SourceFile& file : draft.files) {
    auto document = store::scan_schema(file);
    if (!document) {
      document = store::scan_dtd(file);
    }
    if (document) {
      draft.documents.push_back(std::move(*document));
    }
  }
}

/// Of several schemas with one target namespace: whether one of the others takes this one in.
bool is_part_of_another(const Draft& draft, const store::Document& part) {
  return std::any_of(
      draft.documents.begin(), draft.documents.end(), [&](const store::Document& document) {
        return document.path != part.path && document.xml_namespace == part.xml_namespace &&
               std::any_of(document.demands.begin(), document.demands.end(),
                           [&](const store::Demand& demand) {
                             return demand.xml_namespace.empty() &&
                                    store::resolve_path(document.path, demand.location) ==
                                        part.path;
                           });
      });
}

void offer_schemas(Draft& draft) {
  for (const store::Document& document : draft.documents) {
    if (!is_offered(draft, document.path)) {
      continue;
    }
    if (!document.own_location.empty()) {
      draft.locations.emplace(document.own_location, document.path);
    }
    if (document.xml_namespace.empty() || is_part_of_another(draft, document)) {
      continue;
    }
    std::string& path = draft.namespaces[document.xml_namespace];
    if (path.empty() || document.path == draft.recipe.main) {
      path = document.path;
    }
  }
}

bool is_there(const Draft& draft, const std::string& path) {
  return path.ends_with('/') ? store::has_folder(draft.files, path)
                             : store::find_file(draft.files, path) != nullptr;
}

void offer_catalog(const store::SourceFile& catalog, Draft& draft) {
  // A catalog may cover more than one package.
  store::CatalogEntries entries = store::scan_catalog(catalog);
  entries.locations.merge(entries.prefixes);
  for (const auto& [location, path] : entries.locations) {
    if (is_there(draft, path)) {
      draft.locations.emplace(location, path);
    }
  }
  for (const auto& [public_id, path] : entries.public_ids) {
    if (is_there(draft, path)) {
      draft.public_ids.emplace(public_id, path);
    }
  }
}

void read_catalog(const SourceFolders& folders, Draft& draft) {
  const PackageRecipe& recipe = draft.recipe;
  if (!recipe.taxonomy.empty()) {
    offer_catalog(
        *store::find_file(draft.files, taxonomy_meta_folder(recipe.identity) + "catalog.xml"),
        draft);
  } else if (!recipe.catalog.empty()) {
    offer_catalog(
        store::collect_files(folders.unpacked / recipe.source, recipe.folder, {recipe.catalog})
            .front(),
        draft);
  }
}

void describe_from_taxonomy_package(Draft& draft) {
  const std::string path = taxonomy_meta_folder(draft.recipe.identity) + "taxonomyPackage.xml";
  store::TaxonomyPackage package =
      store::scan_taxonomy_package(*store::find_file(draft.files, path));
  draft.title = package.title;
  draft.description = package.description;
  draft.homepage = package.homepage;
  draft.publisher = package.publisher;
  draft.entry_points = std::move(package.entry_points);
}

void describe_from_main_document(Draft& draft) {
  const auto main =
      std::find_if(draft.documents.begin(), draft.documents.end(),
                   [&](const store::Document& each) { return each.path == draft.recipe.main; });
  if (main == draft.documents.end()) {
    throw std::runtime_error("no main document " + draft.recipe.main);
  }
  draft.description = store::first_sentences(main->text, kDescriptionLength);
  draft.homepage = store::first_url(main->text);
  const auto public_id =
      std::find_if(draft.public_ids.begin(), draft.public_ids.end(),
                   [&](const auto& entry) { return entry.second == draft.recipe.main; });
  if (public_id != draft.public_ids.end()) {
    draft.publisher = store::owner_of_public_id(public_id->first);
  }
}

void prefer(const std::string& given, std::string& value) {
  if (!given.empty()) {
    value = given;
  }
}

void describe(Draft& draft) {
  if (draft.recipe.taxonomy.empty()) {
    describe_from_main_document(draft);
  } else {
    describe_from_taxonomy_package(draft);
  }
  prefer(draft.recipe.title, draft.title);
  prefer(draft.recipe.description, draft.description);
  prefer(draft.recipe.homepage, draft.homepage);
  prefer(draft.recipe.publisher, draft.publisher);
  if (draft.title.empty() || draft.description.empty() || draft.homepage.empty()) {
    throw std::runtime_error(
        "neither the recipe nor its files give it a title, a description "
        "and a homepage");
  }
}

}  // namespace

Draft make_draft(const PackageRecipe& recipe, const std::string& type,
                 const std::string& member_name, const SourceFolders& folders) {
  const std::string identity = pkg::to_string(recipe.identity);
  try {
    Draft draft;
    draft.recipe = recipe;
    draft.member = type + "/" + identity + "/" + member_name;
    take_files(folders, draft);
    read_documents(draft);
    read_catalog(folders, draft);
    offer_schemas(draft);
    describe(draft);
    return draft;
  } catch (const std::exception& failure) {
    throw std::runtime_error(identity + ": " + failure.what());
  }
}

}  // namespace zendro::demo
