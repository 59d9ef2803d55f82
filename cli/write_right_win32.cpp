#include <windows.h>

#include "cli/write_right_system.h"

namespace zendro::cli {

bool is_write_denied(const std::filesystem::path& folder) {
  const HANDLE handle = CreateFileW(folder.c_str(), FILE_ADD_FILE | FILE_ADD_SUBDIRECTORY,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (handle == INVALID_HANDLE_VALUE) return GetLastError() == ERROR_ACCESS_DENIED;
  CloseHandle(handle);
  return false;
}

}  // namespace zendro::cli
