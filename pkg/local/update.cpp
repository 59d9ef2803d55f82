#include "pkg/local/update.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "framework/system/files.h"
#include "framework/system/guarded.h"
#include "framework/system/removal.h"
#include "framework/text/ascii.h"
#include "framework/text/percent.h"
#include "pkg/local/build.h"
#include "pkg/local/catalog_file.h"
#include "pkg/local/how_to.h"
#include "pkg/local/keys.h"
#include "pkg/local/stamp.h"

namespace zendro::pkg::local {
namespace {

using framework::EntryKind;
using framework::Folder;
using framework::IoError;

constexpr std::string_view kZipsFolder = "zips";
constexpr std::string_view kHowTo = "how-to.txt";
constexpr std::string_view kPrefixesStem = "prefixes";
// Where a file would be empty otherwise: the standard knows no empty catalog.
constexpr std::string_view kNothing = "zendro://pkg/";

std::string with_slashes(const std::filesystem::path& path) {
  std::string text = framework::path_to_utf8(path);
  std::replace(text.begin(), text.end(), framework::kPathSeparator, '/');
  return text;
}

std::string catalog_in(const std::string& identity, std::string_view stem) {
  std::string url;
  framework::append_encoded_path(url, identity);
  return url + "/" + std::string(stem) + ".xml";
}

class updater {
 public:
  updater(const Folder& local, const reports_t& reports)
      : local_(local), reports_(reports), root_(with_slashes(local.path())) {}

  void run(std::span<const package_t> packages, std::span<const mapping_t> mappings) {
    if (!open_zips()) return;
    for (const package_t& package : packages) provide(package);
    write_catalogs(mappings);
    write({std::string(kHowTo), how_to(local_.path())});
    remove_others(*zips_, zip_names_);
    remove_others(local_, names_);
  }

 private:
  bool open_zips() {
    IoError error;
    if (local_.kind_of(kZipsFolder) != EntryKind::folder) {
      framework::remove_all(local_, kZipsFolder, kMostLevels, error);
    }
    error = {};
    if (local_.create_folder(kZipsFolder, error)) zips_ = local_.open_folder(kZipsFolder, error);
    names_.emplace(kZipsFolder);
    if (zips_) return true;
    reports_.trouble(error);
    return false;
  }

  // Sees to the folder of a package. One that fails is not listed, and so is removed at the end.
  void provide(const package_t& package) {
    if (package.members.empty()) return;
    std::string cause;
    std::optional<stamp_t> stamp;
    framework::guarded(
        [&] {
          IoError error;
          stamp = bring_up(package, error);
          if (!stamp) cause = error.text;
        },
        [&cause](const std::string& failure) { cause = failure; });
    if (!stamp) {
      reports_.left_out(package.identity, cause);
      return;
    }
    names_.insert(package.identity);
    for (int number = 1; number <= stamp->zips; ++number) {
      zip_names_.insert(zip_name(package.identity, number));
    }
    catalogs_.push_back(catalog_in(package.identity, kCatalogStem));
    if (stamp->has_namespaces) {
      namespaces_.push_back(catalog_in(package.identity, kNamespacesStem));
    }
    add_prefixes(package, prefixes_);
  }

  std::optional<stamp_t> bring_up(const package_t& package, IoError& error) {
    const std::string name = framework::comparable_name(package.identity);
    if (!framework::is_plain_name(package.identity) || !identities_.insert(name).second) {
      error.text = package.identity + ": no folder can have this name";
      return std::nullopt;
    }
    const std::string source = source_of(package, root_);
    if (std::optional<stamp_t> stamp = valid_stamp(package.identity, source)) return stamp;
    tl::expected<stamp_t, IoError> built = build(local_, *zips_, package, root_, source);
    if (built) return *built;
    error = std::move(built.error());
    return std::nullopt;
  }

  [[nodiscard]] std::optional<stamp_t> valid_stamp(const std::string& identity,
                                                   const std::string& source) const {
    IoError ignored;
    if (local_.kind_of(identity) != EntryKind::folder) return std::nullopt;
    const std::unique_ptr<Folder> folder = local_.open_folder(identity, ignored);
    std::optional<stamp_t> stamp = folder ? read_stamp(*folder) : std::nullopt;
    if (!stamp || stamp->source != source) return std::nullopt;
    for (int number = 1; number <= stamp->zips; ++number) {
      if (zips_->kind_of(zip_name(identity, number)) != EntryKind::file) return std::nullopt;
    }
    return stamp;
  }

  void write_catalogs(std::span<const mapping_t> mappings) {
    // Of one prefix the first package stays; across files the first one that fits counts, so the
    // longest come first.
    std::stable_sort(prefixes_.begin(), prefixes_.end(), [](const auto& a, const auto& b) {
      return a.key.size() != b.key.size() ? a.key.size() > b.key.size() : a.key < b.key;
    });
    const auto end =
        std::unique(prefixes_.begin(), prefixes_.end(),
                    [](const prefix_t& a, const prefix_t& b) { return a.key == b.key; });
    catalog_writer prefixes;
    for (auto prefix = prefixes_.begin(); prefix != end; ++prefix) {
      if (!prefix->key.empty()) prefixes.prefix(prefix->key, prefix->target);
    }
    if (prefixes.is_empty()) prefixes.uri(kNothing, kHowTo);
    const std::vector<file_t> last = prefixes.take(std::string(kPrefixesStem));

    catalog_writer namespaces;
    if (namespaces_.empty()) namespaces.uri(kNothing, kHowTo);
    catalog_writer catalog;
    for (const joined_mapping_t& mapping : join_mappings(mappings)) {
      catalog.prefix(mapping.from, mapping.to);
    }
    catalogs_.push_back(last.front().name);
    for (const file_t& file : last) write(file);
    for (const file_t& file : namespaces.take(std::string(kNamespacesStem), namespaces_)) {
      write(file);
    }
    for (const file_t& file : catalog.take(std::string(kCatalogStem), catalogs_)) write(file);
  }

  void write(const file_t& file) {
    IoError error;
    std::string text;
    names_.insert(file.name);
    if (local_.kind_of(file.name) == EntryKind::file &&
        local_.read_file(file.name, text, file.text.size(), error) && text == file.text) {
      return;
    }
    error = {};
    if (local_.kind_of(file.name) == EntryKind::folder) {
      framework::remove_all(local_, file.name, kMostLevels, error);
    }
    error = {};
    if (local_.write_file(file.name, file.text, error) != framework::WriteOutcome::written) {
      reports_.trouble(error);
    }
  }

  void remove_others(const Folder& folder, const std::set<std::string, std::less<>>& names) {
    std::vector<Folder::Entry> entries;
    IoError error;
    if (!folder.list(entries, error)) reports_.trouble(error);
    for (const Folder::Entry& entry : entries) {
      if (names.contains(entry.name)) continue;
      error = {};
      if (!framework::remove_all(folder, entry.name, kMostLevels, error)) reports_.trouble(error);
    }
  }

  const Folder& local_;
  const reports_t& reports_;
  std::string root_;
  std::unique_ptr<Folder> zips_;
  std::set<std::string> identities_;              ///< comparable
  std::set<std::string, std::less<>> names_;      ///< what belongs here
  std::set<std::string, std::less<>> zip_names_;  ///< what belongs to the taxonomy packages
  std::vector<std::string> catalogs_;
  std::vector<std::string> namespaces_;
  std::vector<prefix_t> prefixes_;
};

}  // namespace

void update(const Folder& local, std::span<const package_t> packages,
            std::span<const mapping_t> mappings, const reports_t& reports) {
  updater(local, reports).run(packages, mappings);
}

}  // namespace zendro::pkg::local
