#include "pkg/package_file.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "app/options/options.h"
#include "app/options/package_types.h"
#include "framework/io/digest.h"
#include "framework/system/files.h"
#include "framework/url/zip.h"
#include "pkg/active_types.h"
#include "pkg/folder_owners.h"
#include "pkg/list_files.h"
#include "pkg/obstacles.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"
#include "pkg/shared_folders.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::Folder;
using framework::IoError;
using framework::IOImpl_base;
using framework::Result;

constexpr std::string_view kProvides = "provides";

// What a package file says about itself.
struct package_file_t {
  pkgs_available_t packages;
  std::vector<std::string> provides;
};

// What a member is called while it is copied; the blank tells it from every member's local name.
constexpr std::string_view kUnfinished = "unfinished copy";

// What a copied member is called for once it is whole and proved.
struct target_t {
  const Folder& folder;
  std::string name;
  framework::Sha256Digest digest;
};

// Copies one member out of the archive. It gets its name when it is whole and has its digest: under
// its name every later attempt takes it for complete. False: it has another digest.
Result<bool> copy_member(IOImpl_base& source, const target_t& target, progress_reporter& progress) {
  const framework::OpenedStream opened = target.folder.create_file(kUnfinished);
  if (!opened) return tl::unexpected(opened.error());
  IOImpl_base& file = **opened;
  progress.begin_transfer(source.size());
  framework::Sha256 digest;
  std::vector<char> block(framework::kIoBlock);
  std::int64_t count = 0;
  while ((count = source.read(block.data(), block.size())) > 0) {
    digest.update(block.data(), static_cast<std::size_t>(count));
    if (file.write(block.data(), static_cast<std::size_t>(count)) < 0) break;
    progress.transferred(count);
  }
  file.close();
  IoError error = source.error() ? source.error() : file.error();
  const bool is_whole = count == 0 && !error;
  const bool is_proved = is_whole && digest.finish() == target.digest;
  if (is_proved) {
    const auto renamed = target.folder.rename_file(kUnfinished, target.name);
    if (renamed) return true;
    error = renamed.error();
  }
  static_cast<void>(target.folder.remove_file(kUnfinished));
  if (is_whole && !is_proved) return false;
  return tl::unexpected(std::move(error));
}

// Reads one package file on behalf of an operation.
class package_file_reader {
 public:
  package_file_reader(core_context& context, std::string_view path)
      : context_(context), path_(path) {}

  std::optional<std::vector<std::string>> read() {
    const msg::Argument pkgtype = context_.pkgtype();
    if (!context_.is_initialised()) {
      context_.fail(msg::Code::not_initialized, {pkgtype});
      return std::nullopt;
    }
    if (!framework::file_exists(framework::path_from_utf8(path_))) {
      context_.fail(msg::Code::zendropkg_exists, {pkgtype, path_argument(path_)});
      return std::nullopt;
    }
    tl::expected<package_file_t, std::string> file = read_meta_file();
    if (!file) {
      context_.fail(msg::Code::invalid_pkg_information, {pkgtype, path_argument(path_)},
                    file.error());
      return std::nullopt;
    }
    const bool taken_over = check_metadata(file->packages) && load_lists() &&
                            folders_are_free(file->packages) && copy_members(file->packages) &&
                            register_packages(file->packages);
    return taken_over ? std::optional(std::move(file->provides)) : std::nullopt;
  }

 private:
  tl::expected<package_file_t, std::string> read_meta_file() {
    if (!is_active_type(context_.type()) ||
        !path_.ends_with(app::package_type(context_.type()).file_extension)) {
      return tl::unexpected<std::string>("The file is not a package file of this type.");
    }
    const auto file = framework::open_file(framework::path_from_utf8(path_));
    if (!file) return tl::unexpected(file.error().text);
    auto archive = framework::ZipArchive::open(*file, path_);
    // More than deflate makes of its bytes is in no file.
    const auto bytes = static_cast<std::uint64_t>(std::max<std::int64_t>((*file)->size(), 0));
    limit_ = std::min(bytes * framework::kMostUnpacked,
                      app::to_size_limit(app::get_member_size_limit(&context_.options())));
    left_ = limit_;
    if (!archive) return tl::unexpected(archive.error().text);
    archive_ = std::move(*archive);
    framework::Result<std::string> text =
        archive_->open_member(kPackageMetaFile)
            .and_then([](const std::shared_ptr<IOImpl_base>& member) {
              return framework::read_all(*member, framework::kIoBlock, kListLimit);
            });
    if (!text) return tl::unexpected(text.error().text);
    try {
      const auto parsed = framework::LazyDocument::parse(std::move(*text));
      if (!parsed) return tl::unexpected(parsed.error());
      const std::shared_ptr<framework::LazyDocument>& document = *parsed;
      constexpr std::array not_packages = {kProvides};
      package_file_t content{pkgs_available_t(document, not_packages), {}};
      warn_refused(context_, content.packages, path_, path_);
      for (const auto& [name, list, values] : document->members(document->root())) {
        if (name != kProvides) continue;
        require_at_most(kMostReferences, values, kProvides);
        const framework::ParsedJson provides = framework::parse_json(list);
        if (!provides) return tl::unexpected(provides.error());
        for (const json::value& one : framework::as_array(*provides)) {
          content.provides.emplace_back(framework::as_string(one));
        }
      }
      return content;
    } catch (const framework::JsonError& failure) {
      return tl::unexpected<std::string>(failure.what());
    }
  }

  // All entries and all folders are checked before the first byte is written.
  bool check_metadata(const pkgs_available_t& packages) {
    for (const package_t& package : packages.packages()) {
      try {
        package.meta.check();
      } catch (const framework::JsonError& error) {
        return fail_metadata(context_, path_, metadata_error(package.identity, error));
      }
    }
    return true;
  }

  bool load_lists() {
    available_ = load_available(context_);
    installed_ = available_ ? load_installed(context_) : std::nullopt;
    return installed_.has_value();
  }

  bool folders_are_free(const pkgs_available_t& packages) {
    owners_ = std::make_unique<folder_owners>(context_, *installed_);
    owners_->keep_for(available_->packages());
    owners_->keep_for(packages.packages());
    for (const package_t& package : packages.packages()) {
      if (!owners_->check(package)) return false;
    }
    return contents_agree(packages);
  }

  // Versions that share a folder must not differ in a member. What is installed of a line that the
  // file has a level of is left out: the install decides between them.
  bool contents_agree(const pkgs_available_t& packages) {
    shared_folders folders;
    for (const package_t& package : installed_->packages()) {
      auto [name, version] = package.identity;
      const bool is_of_file = find_best(packages.packages(), {name, kNoVersion}) != nullptr;
      version.patch = kAnyPart;
      if (is_of_file && find_best(packages.packages(), {name, version}) == nullptr) {
        folders.add(package);
      }
    }
    for (const package_t& package : packages.packages()) {
      const package_t* other = folders.add(package);
      if (other == nullptr) continue;
      const bool is_installed = find_exact(installed_->packages(), other->identity) == other;
      return check_conflicts(context_, {{&package, other, other->key, is_installed}});
    }
    return true;
  }

  bool copy_members(const pkgs_available_t& packages) {
    std::uint64_t members = 0;
    for (const package_t& package : packages.packages()) {
      if (const json::object* files = package.meta.files()) members += files->size();
    }
    context_.progress().begin(members);
    for (const package_t& package : packages.packages()) {
      const json::object* files = package.meta.files();
      if (files != nullptr && !files->empty() && !copy_files(package, *files)) return false;
    }
    return true;
  }

  bool copy_files(const package_t& package, const json::object& files) {
    const package_folder place(context_, package.meta);
    const opened_folder folder = place.create();
    if (!folder) {
      return context_.fail(msg::Code::create_folder, {path_argument(place.path())},
                           folder.error().cause().text);
    }
    for (const json::key_value_pair& file : files) {
      if (context_.is_stopped()) return false;
      const std::string_view member(file.key().data(), file.key().size());
      const std::string local_name = local_member_name(member);
      if ((*folder)->kind_of(local_name) == EntryKind::absent) {
        const Result<void> copied =
            copy_file(package, member, framework::as_string(file.value()), **folder);
        if (!copied) {
          return context_.fail(msg::Code::copy_pkg_member,
                               {context_.pkgtype(), path_argument(place.path() + local_name)},
                               copied.error().text);
        }
      }
      context_.progress().member_done();
    }
    return true;
  }

  // Without its digest a member is not left in the folder: the install asks the store for it.
  Result<void> copy_file(const package_t& package, std::string_view member,
                         std::string_view digest_text, const Folder& folder) {
    const msg::Argument pkg = pkg_argument(package.identity);
    const msg::Argument name = text_argument(L"file", member);
    const framework::OpenedStream opened = archive_->open_member(member);
    if (!opened) return tl::unexpected(opened.error());
    IOImpl_base& source = **opened;
    const auto digest = framework::parse_sha256(digest_text);
    if (!digest) {
      context_.log(msg::Code::checksum_invalid, msg::kLevelProgress,
                   {pkg, name, text_argument(L"sum", digest_text), context_.pkgtype()});
      return {};
    }
    // What the member claims is what it has: reading fails at more.
    const auto size = static_cast<std::uint64_t>(source.size());
    if (size > left_) {
      return tl::unexpected(
          IoError{path_ + ": more than " + std::to_string(limit_) + " bytes would be copied"});
    }
    left_ -= size;
    const target_t target{folder, local_member_name(member), *digest};
    const Result<bool> proved = copy_member(source, target, context_.progress());
    if (!proved) return tl::unexpected(proved.error());
    if (!*proved) {
      context_.log(msg::Code::checksum_mismatch, msg::kLevelProgress,
                   {pkg, name, context_.pkgtype()});
    }
    return {};
  }

  bool register_packages(const pkgs_available_t& packages) {
    std::vector<const package_t*> added;
    for (const package_t& package : packages.packages()) {
      // What the store gave stands, also what it gave as deprecated.
      const package_t* entry = available_->find_entry(package.identity);
      if (entry == nullptr || has_vanished(*entry)) added.push_back(&package);
    }
    if (added.empty()) return true;
    available_->add(added, packages);
    return write_available(context_, *available_);
  }

  core_context& context_;
  std::string path_;
  std::unique_ptr<framework::ZipArchive> archive_;
  std::uint64_t limit_ = 0;  ///< bytes that may be copied
  std::uint64_t left_ = 0;   ///< of them
  std::optional<pkgs_available_t> available_;
  std::optional<pkgs_available_t> installed_;
  std::unique_ptr<folder_owners> owners_;
};

}  // namespace

std::optional<std::vector<std::string>> read_package_file(core_context& context,
                                                          std::string_view path) {
  return package_file_reader(context, path).read();
}

}  // namespace zendro::pkg
