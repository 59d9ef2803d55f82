#include "pkg/package_folder.h"

#include <vector>

#include "framework/files.h"
#include "pkg/ascii_case.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

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

package_folder_t::package_folder_t(core_context_t& context, const meta_t& meta)
    : folders_(context.type_folders()),
      own_type_(context.type()),
      type_(meta.type()),
      name_(meta.pkg_installdir()),
      path_(folders_.path_of(type_) + name_ + framework::kPathSeparator) {}

std::string package_folder_t::key() const { return framework::comparable_name(path_); }

std::string package_folder_t::member_path(std::string_view member) const {
  return path_ + local_member_name(member);
}

bool package_folder_t::is_safe(std::string& cause) const {
  IoError error;
  if (open(error) || !error) return true;
  cause = error.text;
  return false;
}

std::unique_ptr<Folder> package_folder_t::open(IoError& error) const {
  if (!is_own(error)) return nullptr;
  const Folder* const parent = folders_.open(type_, error);
  if (parent == nullptr || parent->kind_of(name_) == EntryKind::absent) return nullptr;
  return parent->open_folder(name_, error);
}

std::unique_ptr<Folder> package_folder_t::create(IoError& error) const {
  if (!is_own(error)) return nullptr;
  const Folder* const parent = folders_.create(type_, error);
  if (parent == nullptr || !parent->create_folder(name_, error)) return nullptr;
  return parent->open_folder(name_, error);
}

bool package_folder_t::remove(core_context_t& context, IoError& error) const {
  std::unique_ptr<Folder> folder = open(error);
  if (error) return false;
  if (folder) {
    if (!remove_contents(context, *folder, path_, 0, error)) return false;
    folder.reset();  // an open folder would not be gone at once everywhere
    const Folder* const parent = folders_.open(type_, error);
    if (parent == nullptr) return false;
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

// Whether the metadata names a folder that is a package's own.
bool package_folder_t::is_own(IoError& error) const {
  for (const std::string& part : {type_, name_}) {
    if (!framework::is_plain_name(part)) {
      error.text = "'" + part + "' is not the name of a folder";
      return false;
    }
  }
  if (is_other_type(type_, own_type_)) {
    error.text = path_ + ": the folder belongs to another package type";
    return false;
  }
  if (folders_.touches_cache(type_, name_)) {
    error.text = path_ + ": the folder belongs to the cache";
    return false;
  }
  return true;
}

}  // namespace zendro::pkg
