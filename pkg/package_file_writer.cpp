#include "pkg/package_file_writer.h"

#include <algorithm>
#include <optional>
#include <set>
#include <stdexcept>

#include "framework/system/files.h"
#include "framework/system/this_process.h"
#include "framework/url/zip_writer.h"
#include "pkg/download.h"
#include "pkg/filters.h"
#include "pkg/list_files.h"
#include "pkg/obstacles.h"
#include "pkg/package_file.h"
#include "pkg/package_folder.h"
#include "pkg/references.h"

namespace zendro::pkg {
namespace {

using identity_set = std::set<name_semver_t>;

// The list of the packages with the member "provides".
std::string meta_file(const pkgs_available_t& packages, const identity_set& provides) {
  json::object provided;
  json::array& names = provided["provides"].emplace_array();
  for (const name_semver_t& identity : provides) names.emplace_back(to_string(identity));
  std::string text = packages.serialise();
  text.erase(text.rfind('}'));
  return text + "," + json::serialize(provided).substr(1) + "\n";
}

}  // namespace

unpacked_place::unpacked_place(std::string_view file)
    : path_(std::filesystem::absolute(framework::path_from_utf8(
          std::string(file) + ".unfinished-" + std::to_string(framework::process_id())))) {
  // What is there already is somebody else's.
  if (!std::filesystem::create_directory(path_)) {
    throw std::runtime_error(framework::path_to_utf8(path_) + ": is there already");
  }
}

unpacked_place::~unpacked_place() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string unpacked_place::install_root() const {
  return framework::path_to_utf8(path_ / std::filesystem::path());
}

framework::Result<void> write_package_archive(
    std::string_view path, const std::vector<const package_t*>& packages,
    const pkgs_available_t& list, const identity_set& provides,
    const std::function<std::string(const package_t& package, std::string_view member)>& file_of) {
  pkgs_available_t held;
  held.add(packages, list);
  std::vector<framework::ZipEntry> archive{
      {std::string(kPackageMetaFile), meta_file(held, provides), {}}};
  for (const package_t* package : packages) {
    const json::object* files = package->meta.files();
    if (files == nullptr) continue;
    for (const json::key_value_pair& file : *files) {
      archive.push_back({std::string(file.key()), {}, file_of(*package, file.key())});
    }
  }
  return framework::write_zip(path, archive);
}

bool write_package_file(core_context& context, core_context& staged,
                        const std::vector<std::string>& filters, std::string_view path) {
  const std::optional<pkgs_available_t> available = load_available(context);
  identity_set chosen;
  if (!available || !resolve_filters(context, filters, *available, chosen)) return false;
  identity_set all = collect_references(chosen, *available);
  all.insert(chosen.begin(), chosen.end());
  std::vector<const package_t*> entries;
  std::uint64_t members = 0;
  for (const name_semver_t& identity : all) {
    const package_t* entry = find_exact(available->packages(), identity);
    if (entry == nullptr) return check_missing(context, {identity});
    if (const json::object* files = entry->meta.files()) members += files->size();
    entries.push_back(entry);
  }
  staged.progress().begin(members);
  for (const package_t* entry : entries) {
    if (!download_pkg(staged, entry->identity, *available)) return false;
  }
  const auto file_of = [&](const package_t& package, std::string_view member) {
    return package_folder(staged, package.meta).member_path(member);
  };
  const auto written = write_package_archive(path, entries, *available, chosen, file_of);
  if (!written) {
    context.reporter().report(written.error());
    return context.fail(msg::Code::create_file, {path_argument(path)});
  }
  return true;
}

}  // namespace zendro::pkg
