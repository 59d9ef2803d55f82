#include "pkg/installed_packages.h"

#include <string>
#include <utility>

#include "framework/text/utf8.h"
#include "msg/shown.h"
#include "pkg/cache_write_lock.h"
#include "pkg/list_files.h"

namespace zendro::pkg {

std::uint64_t installed_packages::state_of(core_context& context) {
  const borrowed_folder folder = context.cache_folder().open();
  return folder ? (*folder)->stamp_of(context.installed_name()) : 0;
}

framework::Result<std::shared_ptr<const pkgs_available_t>> installed_packages::list(
    core_context& context) {
  const std::lock_guard own(mutex_);
  // No list of this process is half written while this is held.
  const std::lock_guard writers(cache_write_lock());
  const std::uint64_t state = state_of(context);
  if (list_ && state == state_) return list_;
  const borrowed_folder folder = context.cache_folder().open();
  if (!folder && !folder.error().is_absent()) {
    return tl::unexpected(folder.error().cause());
  }
  if (state == 0) return std::make_shared<pkgs_available_t>();
  read_list_t read = read_list(context.cache_folder(), context.installed_name());
  if (!read) {
    const msg::Message message{msg::Code::invalid_pkg_information,
                               {context.pkgtype(), path_argument(context.installed_path())},
                               msg::Severity::error,
                               msg::shown(read.error())};
    return tl::unexpected(framework::IoError{framework::to_utf8(message.text())});
  }
  list_ = std::make_shared<pkgs_available_t>(std::move(*read));
  state_ = state;
  return list_;
}

}  // namespace zendro::pkg
