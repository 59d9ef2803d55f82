#include "pkg/package_folder.h"

#include <memory>
#include <utility>
#include <vector>

#include "framework/system/files.h"
#include "framework/system/removal.h"
#include "framework/text/ascii.h"
#include "pkg/percent_encoding.h"

namespace zendro::pkg {
namespace {

using framework::EntryKind;
using framework::IoError;
using framework::Result;

// Folders nest in a package only where another program made them; deeper than this is a trap.
constexpr int kDeepestFolder = 64;

// A short name, as Windows gives files besides their own one ("GOOD-1~1.0"): it may be that of the
// folder of another package.
bool is_short_name(std::string_view name) {
  constexpr std::size_t longest = 8;
  constexpr std::size_t longest_extension = 3;
  const std::string_view base = name.substr(0, name.find('.'));
  const std::size_t tilde = base.rfind('~');
  return tilde != std::string_view::npos && tilde + 1 < base.size() && base.size() <= longest &&
         name.size() - base.size() <= longest_extension + 1 &&
         base.find_first_not_of("0123456789", tilde + 1) == std::string_view::npos;
}

// Logs what the removal of a package takes away.
framework::RemovalSink logging(core_context& context) {
  return [&context](const std::string& path, bool is_folder, bool was_gone) {
    const msg::Code gone =
        is_folder ? msg::Code::log_delete_folder_ignored : msg::Code::log_delete_file_ignored;
    const msg::Code done = is_folder ? msg::Code::log_delete_folder : msg::Code::log_delete_file;
    context.log(was_gone ? gone : done, msg::kLevelProgress, {path_argument(path)});
  };
}

}  // namespace

package_folder::package_folder(core_context& context, const meta_t& meta)
    : folders_(context.install_folders()),
      own_type_(context.type()),
      type_(meta.type()),
      name_(meta.pkg_installdir()),
      path_(folders_.path_of(type_) + name_ + framework::kPathSeparator) {}

bool package_folder::is_shared() const { return !is_package_type(type_); }

std::string package_folder::key() const { return framework::comparable_name(path_); }

std::string package_folder::member_path(std::string_view member) const {
  return path_ + local_member_name(member);
}

Result<void> package_folder::check() const {
  const opened_folder folder = open();
  if (folder || folder.error().is_absent()) return {};
  return tl::unexpected(folder.error().cause());
}

opened_folder package_folder::open() const {
  const Result<void> checked = check_names();
  if (!checked) return tl::unexpected<no_folder>(checked.error());
  const borrowed_folder parent = folders_.open(type_);
  if (!parent) return tl::unexpected(parent.error());
  return open_in(**parent, name_);
}

opened_folder package_folder::create() const {
  const Result<void> checked = check_names();
  if (!checked) return tl::unexpected<no_folder>(checked.error());
  const borrowed_folder parent = folders_.create(type_);
  if (!parent) return tl::unexpected(parent.error());
  return create_in(**parent, name_);
}

Result<void> package_folder::remove(core_context& context) const {
  opened_folder folder = open();
  if (!folder && !folder.error().is_absent()) return tl::unexpected(folder.error().cause());
  if (folder) {
    auto emptied = framework::remove_contents(**folder, path_, kDeepestFolder, logging(context));
    if (!emptied) return emptied;
    folder->reset();  // an open folder would not be gone at once everywhere
    const borrowed_folder parent = folders_.open(type_);
    if (!parent) return tl::unexpected(parent.error().cause());
    auto removed = (*parent)->remove_folder(name_);
    if (removed) {
      context.log(msg::Code::log_delete_folder, msg::kLevelProgress, {path_argument(path_)});
      return {};
    }
    if ((*parent)->kind_of(name_) != EntryKind::absent) return removed;
  }
  context.log(msg::Code::log_delete_folder_ignored, msg::kLevelProgress, {path_argument(path_)});
  return {};
}

Result<void> package_folder::check_names() const {
  const auto refused = [](const std::string& name, const char* cause) {
    return tl::unexpected(IoError{name + cause});
  };
  for (const std::string& part : {type_, name_}) {
    if (!framework::is_plain_name(part) || is_short_name(part)) {
      return refused("'" + part + "'", " is not the name of a folder");
    }
  }
  // Case is no difference: some file systems know none.
  if (is_package_type(type_) && framework::ascii_lower(type_) != own_type_) {
    return refused(path_, ": the folder belongs to another package type");
  }
  if (framework::ascii_lower(type_) == kSharedLock) {
    return refused(path_, ": the name is that of a lock");
  }
  if (folders_.touches_cache(type_, name_)) {
    return refused(path_, ": the folder belongs to the cache");
  }
  return {};
}

}  // namespace zendro::pkg
