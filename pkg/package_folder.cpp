#include "pkg/package_folder.h"

#include <filesystem>
#include <vector>

#include "framework/files.h"
#include "pkg/ascii_case.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

namespace fs = std::filesystem;
using framework::EntryKind;
using framework::Folder;
using framework::IoError;

// Folders nest in a package only where another program made them; deeper than this is a trap.
constexpr int kDeepestFolder = 64;

// Whether this is the folder word of another package type. Case is no difference: some file systems
// know none.
bool is_other_type(std::string_view word, std::string_view own_type) {
  for (const std::string_view type : {"xsd", "xbrl"}) {
    if (type != own_type && ascii_lower(word) == type) return true;
  }
  return false;
}

bool remove_contents(core_context_t& context, const Folder& folder, const std::string& path,
                     int depth, IoError& error) {
  if (depth > kDeepestFolder) {
    error.text = path + ": folders are nested too deeply";
    return false;
  }
  std::vector<Folder::Entry> entries;
  if (!folder.list(entries, error)) return false;
  for (const Folder::Entry& entry : entries) {
    const std::string entry_path = path + entry.name;
    const bool is_folder = entry.kind == EntryKind::folder;
    if (is_folder) {
      const std::unique_ptr<Folder> inner = folder.open_folder(entry.name, error);
      if (!inner || !remove_contents(context, *inner, entry_path + framework::kPathSeparator,
                                     depth + 1, error)) {
        return false;
      }
    }
    const bool removed =
        is_folder ? folder.remove_folder(entry.name, error) : folder.remove_file(entry.name, error);
    if (removed) {
      context.log(is_folder ? msg::Code::log_delete_folder : msg::Code::log_delete_file,
                  msg::kLevelProgress, {path_argument(entry_path)});
    } else if (folder.kind_of(entry.name) == EntryKind::absent) {
      // Somebody else was quicker.
      error = {};
      context.log(
          is_folder ? msg::Code::log_delete_folder_ignored : msg::Code::log_delete_file_ignored,
          msg::kLevelProgress, {path_argument(entry_path)});
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

package_folder_t::package_folder_t(const core_context_t& context, const meta_t& meta)
    : install_root_(context.install_root()),
      type_(meta.type()),
      name_(meta.pkg_installdir()),
      path_(install_root_ + type_ + framework::kPathSeparator + name_ + framework::kPathSeparator) {
}

std::string package_folder_t::key() const { return framework::comparable_name(path_); }

std::string package_folder_t::member_path(std::string_view member) const {
  return path_ + local_member_name(member);
}

bool package_folder_t::is_safe(core_context_t& context, std::string& cause) const {
  for (const std::string& part : {type_, name_}) {
    if (!framework::is_plain_name(part)) {
      cause = "'" + part + "' is not the name of a folder";
      return false;
    }
  }
  if (is_other_type(type_, context.type())) {
    cause = path_ + ": the folder belongs to another package type";
    return false;
  }
  if (context.touches_cache(path_)) {
    cause = path_ + ": the folder belongs to the cache";
    return false;
  }
  IoError error;
  if (!open(error) && error) {
    cause = error.text;
    return false;
  }
  return true;
}

std::unique_ptr<Folder> package_folder_t::open_parent(IoError& error) const {
  const fs::path root_path = framework::path_from_utf8(install_root_);
  if (framework::is_missing(root_path)) return nullptr;
  const std::unique_ptr<Folder> root = Folder::open(root_path, error);
  if (!root || root->kind_of(type_) == EntryKind::absent) return nullptr;
  return root->open_folder(type_, error);
}

std::unique_ptr<Folder> package_folder_t::open(IoError& error) const {
  const std::unique_ptr<Folder> parent = open_parent(error);
  if (!parent || parent->kind_of(name_) == EntryKind::absent) return nullptr;
  return parent->open_folder(name_, error);
}

std::unique_ptr<Folder> package_folder_t::create(IoError& error) const {
  const fs::path root_path = framework::path_from_utf8(install_root_);
  if (!framework::create_folders(root_path, error)) return nullptr;
  const std::unique_ptr<Folder> root = Folder::open(root_path, error);
  if (!root || !root->create_folder(type_, error)) return nullptr;
  const std::unique_ptr<Folder> parent = root->open_folder(type_, error);
  if (!parent || !parent->create_folder(name_, error)) return nullptr;
  return parent->open_folder(name_, error);
}

bool package_folder_t::remove(core_context_t& context, IoError& error) const {
  const std::unique_ptr<Folder> parent = open_parent(error);
  std::unique_ptr<Folder> folder = parent ? open(error) : nullptr;
  if (error) return false;
  if (folder) {
    if (!remove_contents(context, *folder, path_, 0, error)) return false;
    folder.reset();  // an open folder would not be gone at once everywhere
    if (parent->remove_folder(name_, error)) {
      context.log(msg::Code::log_delete_folder, msg::kLevelProgress, {path_argument(path_)});
      return true;
    }
    if (parent->kind_of(name_) != EntryKind::absent) return false;
    error = {};
  }
  context.log(msg::Code::log_delete_folder_ignored, msg::kLevelProgress, {path_argument(path_)});
  return true;
}

}  // namespace zendro::pkg
