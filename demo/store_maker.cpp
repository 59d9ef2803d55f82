#include "demo/store_maker.h"

#include <ostream>
#include <stdexcept>

#include "demo/links.h"
#include "demo/store_check.h"
#include "demo/store_writer.h"
#include "framework/system/files.h"

namespace zendro::demo {

namespace {

void make_store(const StoreRecipe& store, const Recipe& recipe, const SourceFolders& folders,
                const std::filesystem::path& output, std::ostream& log) {
  std::vector<Draft> drafts;
  for (const PackageRecipe& package : store.packages) {
    drafts.push_back(make_draft(package, store.type, store.member, folders));
  }
  link_packages(drafts, recipe.builtin);
  write_store(store, drafts, recipe.build_number, output);
  const StoreCheck check = check_store(output, store.type, store.package_file);
  if (!check.faults.empty()) {
    throw std::runtime_error("the store that was made is faulty:\n" + check.faults);
  }
  log << store.type << ": " << check.packages << " packages, " << check.locations << " locations, "
      << check.names << " namespaces and public identifiers\n";
}

}  // namespace

void make_stores(const std::filesystem::path& recipe_file, const SourceFolders& folders,
                 const std::filesystem::path& output, std::ostream& log) {
  if (std::filesystem::exists(output) && !std::filesystem::is_empty(output)) {
    throw std::runtime_error(framework::path_to_utf8(output) + " is not empty");
  }
  const Recipe recipe = read_recipe(recipe_file);
  for (const StoreRecipe& store : recipe.stores) {
    make_store(store, recipe, folders, output / store.type, log);
  }
}

}  // namespace zendro::demo
