#include <utility>

#include <windows.h>

#include "framework/files.h"
#include "framework/handle_win32.h"
#include "framework/lock_file.h"
#include "framework/path_win32.h"
#include "framework/system_error.h"

namespace zendro::framework {
namespace {

// The lock belongs to the open file, not to the process, so it also holds between threads; closing
// the handle ends it.
class Win32LockFile : public LockFile {
 public:
  explicit Win32LockFile(Handle file) : file_(std::move(file)) {}

 private:
  Handle file_;
};

}  // namespace

std::unique_ptr<LockFile> LockFile::acquire(const std::filesystem::path& path, IoError& error) {
  const std::string label = path_to_utf8(path);
  const std::wstring name = api_path(path);
  if (name.empty()) {
    error = system_error(label, ERROR_INVALID_NAME);
    return nullptr;
  }
  const auto open = [&name](DWORD access, DWORD disposition) {
    return Handle(CreateFileW(name.c_str(), access, kShareAll, nullptr, disposition,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  };
  Handle file = open(GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS);
  if (!file) {
    const DWORD code = GetLastError();
    error = open_error(label, code, GetFileAttributesW(name.c_str()), true);
    // Another user's file may be locked without the right to write it.
    if (code == ERROR_ACCESS_DENIED) file = open(GENERIC_READ, OPEN_EXISTING);
  }
  if (!file || !accept_regular(attributes_of(file.get()) & ~DWORD{FILE_ATTRIBUTE_REPARSE_POINT},
                               label, error)) {
    return nullptr;
  }
  OVERLAPPED from_the_beginning{};
  if (LockFileEx(file.get(), LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &from_the_beginning) == 0) {
    error = system_error(label, static_cast<int>(GetLastError()));
    return nullptr;
  }
  error.text.clear();
  return std::make_unique<Win32LockFile>(std::move(file));
}

}  // namespace zendro::framework
