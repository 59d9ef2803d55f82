#include "store/package_file.h"

#include <set>

#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/text/lazy_json.h"
#include "pkg/package_file_writer.h"
#include "pkg/references.h"

#include "store/published_tree.h"

namespace zendro::store {
namespace {

namespace fs = std::filesystem;
using framework::IoError;
using framework::Result;
using pkg::name_semver_t;

constexpr std::uint64_t kMemberLimit = 4ull << 30;

Result<void> prove(const fs::path& tree, const pkg::package_t& package) {
  const pkg::json::object* files = package.meta.files();
  if (files == nullptr) return {};
  for (const pkg::json::key_value_pair& member : *files) {
    const fs::path path = tree / framework::path_from_utf8(std::string_view(member.key()));
    const auto bytes = framework::read_file(path, kMemberLimit);
    if (!bytes) return tl::unexpected(bytes.error());
    if (framework::parse_sha256(framework::as_string(member.value())) !=
        framework::sha256(*bytes)) {
      return tl::unexpected(IoError{framework::path_to_utf8(path) +
                                    ": has not the digest of the list; run \"build\" again"});
    }
  }
  return {};
}

Result<std::set<name_semver_t>> choose(const std::vector<std::string>& queries,
                                       const pkg::pkgs_available_t& list) {
  std::set<name_semver_t> chosen;
  for (const std::string& query : queries) {
    const pkg::package_t* found = pkg::find_best(list.packages(), pkg::parse_identity(query));
    if (found == nullptr) {
      return tl::unexpected(IoError{"no package of the list matches " + query});
    }
    chosen.insert(found->identity);
  }
  return chosen;
}

}  // namespace

Result<std::vector<std::string>> make_package_file(const fs::path& tree,
                                                   const std::vector<std::string>& queries,
                                                   const fs::path& file) {
  const auto published = read_published_list(tree);
  if (!published) return tl::unexpected(published.error());
  const auto document = framework::LazyDocument::parse(published->text);
  if (!document) return tl::unexpected(IoError{document.error()});
  const pkg::pkgs_available_t list(*document);
  const auto chosen = choose(queries, list);
  if (!chosen) return tl::unexpected(chosen.error());
  std::set<name_semver_t> all = pkg::collect_references(*chosen, list);
  all.insert(chosen->begin(), chosen->end());
  std::vector<const pkg::package_t*> packages;
  std::vector<std::string> identities;
  for (const name_semver_t& identity : all) {
    const pkg::package_t* package = pkg::find_exact(list.packages(), identity);
    if (package == nullptr) {
      return tl::unexpected(IoError{to_string(identity) + " is referenced, and not in the list"});
    }
    if (auto proved = prove(tree, *package); !proved) return tl::unexpected(proved.error());
    packages.push_back(package);
    identities.push_back(to_string(identity));
  }
  const std::string type(packages.front()->meta.type());
  const std::string extension(app::package_type(type).file_extension);
  const std::string path = framework::path_to_utf8(file);
  if (!path.ends_with(extension)) {
    return tl::unexpected(IoError{path + ": managers know package files by their names; write a " +
                                  "name that ends with " + extension});
  }
  const auto written = pkg::write_package_archive(
      path, packages, list, *chosen, [&](const pkg::package_t&, std::string_view member) {
        return framework::path_to_utf8(tree / framework::path_from_utf8(member));
      });
  if (!written) return tl::unexpected(written.error());
  return identities;
}

}  // namespace zendro::store
