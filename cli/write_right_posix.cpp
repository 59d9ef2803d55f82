#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "cli/write_right_system.h"

namespace zendro::cli {

bool is_write_denied(const std::filesystem::path& folder) {
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0 &&
         (errno == EACCES || errno == EROFS);
}

}  // namespace zendro::cli
