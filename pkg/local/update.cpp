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
using framework::Result;

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
    if (local_.kind_of(kZipsFolder) != EntryKind::folder) {
      static_cast<void>(framework::remove_all(local_, kZipsFolder, kMostLevels));
    }
    auto zips = local_.create_folder(kZipsFolder).and_then([this] {
      return local_.open_folder(kZipsFolder);
    });
    names_.emplace(kZipsFolder);
    if (!zips) {
      reports_.trouble(zips.error());
      return false;
    }
    zips_ = std::move(*zips);
    return true;
  }

  // Sees to the folder of a package. One that fails is not listed, and so is removed at the end.
  void provide(const package_t& package) {
    if (package.members.empty()) return;
    Result<stamp_t> stamp;
    framework::guarded(
        [&] { stamp = bring_up(package); },
        [&](const std::string& failure) { stamp = tl::unexpected(IoError{failure}); });
    if (!stamp) {
      reports_.left_out(package.identity, stamp.error().text);
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

  Result<stamp_t> bring_up(const package_t& package) {
    const std::string name = framework::comparable_name(package.identity);
    if (!framework::is_plain_name(package.identity) || !identities_.insert(name).second) {
      return tl::unexpected(IoError{package.identity + ": no folder can have this name"});
    }
    const std::string source = source_of(package, root_);
    if (std::optional<stamp_t> stamp = valid_stamp(package.identity, source)) return *stamp;
    return build(local_, *zips_, package, root_, source);
  }

  [[nodiscard]] std::optional<stamp_t> valid_stamp(const std::string& identity,
                                                   const std::string& source) const {
    if (local_.kind_of(identity) != EntryKind::folder) return std::nullopt;
    const Result<std::unique_ptr<Folder>> folder = local_.open_folder(identity);
    std::optional<stamp_t> stamp = folder ? read_stamp(**folder) : std::nullopt;
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
    names_.insert(file.name);
    const EntryKind kind = local_.kind_of(file.name);
    if (kind == EntryKind::file) {
      const Result<std::string> text = local_.read_file(file.name, file.text.size());
      if (text && *text == file.text) return;
    }
    if (kind == EntryKind::folder) {
      static_cast<void>(framework::remove_all(local_, file.name, kMostLevels));
    }
    const framework::WriteResult written = local_.write_file(file.name, file.text);
    if (!written) reports_.trouble(written.error().cause);
  }

  void remove_others(const Folder& folder, const std::set<std::string, std::less<>>& names) {
    const auto entries = folder.list();
    if (!entries) return reports_.trouble(entries.error());
    for (const Folder::Entry& entry : *entries) {
      if (names.contains(entry.name)) continue;
      const Result<void> removed = framework::remove_all(folder, entry.name, kMostLevels);
      if (!removed) reports_.trouble(removed.error());
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
