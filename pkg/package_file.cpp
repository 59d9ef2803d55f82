#include "pkg/package_file.h"

#include <array>
#include <memory>
#include <mutex>

#include "app/options.h"
#include "framework/files.h"
#include "framework/zip.h"
#include "pkg/active_types.h"
#include "pkg/cache_write_lock.h"
#include "pkg/list_files.h"
#include "pkg/package_folder.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::Folder;
using framework::IoError;
using framework::IOImpl_base;

constexpr std::string_view kProvides = "provides";

// What a package file says about itself.
struct package_file_t {
  pkgs_available_t packages;
  std::vector<std::string> provides;
};

// What a member is called while it is copied; the blank tells it from every member's local name.
constexpr std::string_view kUnfinished = "unfinished copy";

// Copies one member out of the archive. It gets its name when it is whole: under its name every
// later attempt takes it for complete.
bool copy_member(framework::ZipArchive& archive, std::string_view member, const Folder& folder,
                 const std::string& local_name, IoError& error) {
  const std::shared_ptr<IOImpl_base> source = archive.open_member(member, error);
  const std::shared_ptr<IOImpl_base> target =
      source ? folder.create_file(kUnfinished, error) : nullptr;
  if (!target) return false;
  std::vector<char> block(framework::kIoBlock);
  std::int64_t count = 0;
  while ((count = source->read(block.data(), block.size())) > 0) {
    if (target->write(block.data(), static_cast<std::size_t>(count)) < 0) break;
  }
  target->close();
  error = source->error() ? source->error() : target->error();
  if (count == 0 && !error && folder.rename_file(kUnfinished, local_name, error)) return true;
  IoError ignored;
  folder.remove_file(kUnfinished, ignored);
  return false;
}

// Reads one package file on behalf of an operation.
class package_file_reader {
 public:
  package_file_reader(core_context_t& context, std::string_view path)
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
    std::string cause;
    std::optional<package_file_t> file = read_meta_file(cause);
    if (!file) {
      context_.fail(msg::Code::invalid_pkg_information, {pkgtype, path_argument(path_)}, cause);
      return std::nullopt;
    }
    if (!folders_are_safe(file->packages) || !copy_members(file->packages) ||
        !register_packages(file->packages)) {
      return std::nullopt;
    }
    return std::move(file->provides);
  }

 private:
  std::optional<package_file_t> read_meta_file(std::string& cause) {
    if (!is_active_type(context_.type()) ||
        !path_.ends_with(app::package_file_extension(context_.type()))) {
      cause = "The file is not a package file of this type.";
      return std::nullopt;
    }
    IoError error;
    std::string text;
    const auto file = framework::open_file(framework::path_from_utf8(path_), error);
    if (file) archive_ = framework::ZipArchive::open(file, path_, error);
    const auto member = archive_ ? archive_->open_member(kPackageMetaFile, error) : nullptr;
    if (!member || !framework::read_all(*member, text, framework::kIoBlock, kListLimit, error)) {
      cause = error.text;
      return std::nullopt;
    }
    try {
      const auto document = framework::LazyDocument::parse(std::move(text), cause);
      if (!document) return std::nullopt;
      constexpr std::array not_packages = {kProvides};
      package_file_t content{pkgs_available_t(document, not_packages), {}};
      const json::object& root = document->object(document->root()).values();
      if (const json::value* provides = root.if_contains(kProvides)) {
        for (const json::value& name : framework::as_array(*provides)) {
          content.provides.emplace_back(framework::as_string(name));
        }
      }
      return content;
    } catch (const framework::JsonError& failure) {
      cause = failure.what();
      return std::nullopt;
    }
  }

  // All folders are checked before the first byte is written.
  bool folders_are_safe(const pkgs_available_t& packages) {
    for (const package_t& package : packages.packages()) {
      const package_folder_t place(context_, package.meta);
      std::string cause;
      if (!place.is_safe(cause)) {
        return context_.fail(msg::Code::create_folder, {path_argument(place.path())}, cause);
      }
    }
    return true;
  }

  bool copy_members(const pkgs_available_t& packages) {
    for (const package_t& package : packages.packages()) {
      const json::object* files = package.meta.files();
      if (files == nullptr || files->empty()) continue;
      const package_folder_t place(context_, package.meta);
      IoError error;
      const std::unique_ptr<Folder> folder = place.create(error);
      if (!folder) {
        return context_.fail(msg::Code::create_folder, {path_argument(place.path())}, error.text);
      }
      for (const json::key_value_pair& file : *files) {
        const std::string_view member(file.key().data(), file.key().size());
        const std::string local_name = local_member_name(member);
        if (folder->kind_of(local_name) != EntryKind::absent) continue;
        if (!copy_member(*archive_, member, *folder, local_name, error)) {
          return context_.fail(msg::Code::copy_pkg_member,
                               {context_.pkgtype(), path_argument(place.path() + local_name)},
                               error.text);
        }
      }
    }
    return true;
  }

  bool register_packages(const pkgs_available_t& packages) {
    const std::lock_guard lock(cache_write_lock());
    std::optional<pkgs_available_t> available = load_available(context_);
    if (!available) return false;
    std::vector<const package_t*> added;
    for (const package_t& package : packages.packages()) {
      // What the store gave stands, also what it gave as deprecated.
      if (available->find_entry(package.identity) == nullptr) added.push_back(&package);
    }
    available->add(added, packages);
    return write_available(context_, *available);
  }

  core_context_t& context_;
  std::string path_;
  std::unique_ptr<framework::ZipArchive> archive_;
};

}  // namespace

std::optional<std::vector<std::string>> read_package_file(core_context_t& context,
                                                          std::string_view path) {
  return package_file_reader(context, path).read();
}

}  // namespace zendro::pkg
