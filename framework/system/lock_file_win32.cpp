#include <windows.h>

#include "framework/system/lock_file.h"
#include "framework/system/system_error.h"

namespace zendro::framework {
namespace {

// What is locked cannot be read by others: a byte far behind any note, which need not exist.
constexpr DWORD kLockedByte = 1U << 30;

}  // namespace

Result<bool> LockFile::try_lock(std::string_view label) {
  OVERLAPPED place{};
  place.Offset = kLockedByte;
  if (LockFileEx(reinterpret_cast<HANDLE>(file_.native()),
                 LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &place) != 0) {
    return true;
  }
  const DWORD code = GetLastError();
  if (code == ERROR_LOCK_VIOLATION || code == ERROR_IO_PENDING) return false;
  return tl::unexpected(system_error(label, static_cast<int>(code)));
}

}  // namespace zendro::framework
