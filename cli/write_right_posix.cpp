#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "cli/write_right_system.h"

namespace zendro::cli {

bool is_write_denied(const std::filesystem::path& folder) {
  // A medium that is read-only is nobody's to write: the operation itself says that.
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0 && errno == EACCES;
}

}  // namespace zendro::cli
