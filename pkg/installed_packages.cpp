#include "pkg/installed_packages.h"

#include <optional>
#include <string>
#include <utility>

#include "framework/files.h"
#include "msg/utf.h"
#include "pkg/cache_write_lock.h"
#include "pkg/list_files.h"

namespace zendro::pkg {

std::uint64_t installed_packages_t::state_of(const core_context_t& context) {
  return framework::file_stamp(framework::path_from_utf8(context.installed_path()));
}

std::shared_ptr<const pkgs_available_t> installed_packages_t::list(const core_context_t& context,
                                                                   framework::IoError& error) {
  const std::lock_guard own(mutex_);
  // No list of this process is half written while this is held.
  const std::lock_guard writers(cache_write_lock());
  const std::uint64_t state = state_of(context);
  if (list_ && state == state_) return list_;
  if (state == 0) return std::make_shared<pkgs_available_t>();
  std::string cause;
  std::optional<pkgs_available_t> read = read_list(context.installed_path(), cause);
  if (!read) {
    const msg::Message message{msg::Code::invalid_pkg_information,
                               {context.pkgtype(), path_argument(context.installed_path())},
                               msg::Severity::error,
                               msg::to_wide(cause)};
    error.text = msg::to_utf8(message.text());
    return nullptr;
  }
  list_ = std::make_shared<pkgs_available_t>(std::move(*read));
  state_ = state;
  return list_;
}

}  // namespace zendro::pkg
