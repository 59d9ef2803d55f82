#include <algorithm>

#include <windows.h>

#include "framework/system/files.h"
#include "framework/system/handle_win32.h"
#include "framework/system/path_win32.h"
#include "framework/system/system_error.h"
#include "framework/system/system_file.h"

namespace zendro::framework {
namespace {

/// One call takes a count of 32 bits.
constexpr std::size_t kMostAtOnce = 1U << 30;

struct Mode {
  DWORD access;
  DWORD disposition;
};

Mode mode_of(OpenHow how) {
  switch (how) {
    case OpenHow::read:
      return {GENERIC_READ, OPEN_EXISTING};
    case OpenHow::write:
      return {GENERIC_WRITE, OPEN_ALWAYS};
    case OpenHow::write_new:
    case OpenHow::write_private:
      return {GENERIC_WRITE, CREATE_NEW};
    case OpenHow::append:
      return {FILE_APPEND_DATA | FILE_READ_ATTRIBUTES | SYNCHRONIZE, OPEN_ALWAYS};
    case OpenHow::read_write:
      return {GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS};
  }
  return {GENERIC_READ, OPEN_EXISTING};
}

HANDLE handle(SystemFile::Native file) { return reinterpret_cast<HANDLE>(file); }

bool is_lack_of_room(DWORD code) {
  constexpr DWORD kDiskQuotaExceeded = 1295;  // ERROR_DISK_QUOTA_EXCEEDED
  return code == ERROR_DISK_FULL || code == ERROR_HANDLE_DISK_FULL || code == kDiskQuotaExceeded ||
         code == ERROR_NOT_ENOUGH_QUOTA || code == ERROR_FILE_TOO_LARGE;
}

}  // namespace

Result<SystemFile> SystemFile::open(const std::filesystem::path& path, OpenHow how) {
  const std::string label = path_to_utf8(path);
  const std::wstring name = api_path(path);
  if (name.empty()) return tl::unexpected(system_error(label, ERROR_INVALID_NAME));
  const auto [access, disposition] = mode_of(how);
  Handle file(CreateFileW(name.c_str(), access, kShareAll, nullptr, disposition,
                          FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    const DWORD code = GetLastError();
    return tl::unexpected(
        open_error(label, code, GetFileAttributesW(name.c_str()), how != OpenHow::read));
  }
  // Links have been followed; what else is marked so are files in special storage.
  const DWORD attributes = attributes_of(file.get()) & ~DWORD{FILE_ATTRIBUTE_REPARSE_POINT};
  return accept_regular(attributes, label).map([&file] {
    return SystemFile(reinterpret_cast<Native>(file.release()));
  });
}

void SystemFile::remove(const std::filesystem::path& path) { DeleteFileW(api_path(path).c_str()); }

std::string SystemFile::cause() const { return system_cause(code_); }

bool SystemFile::record(bool succeeded) {
  if (!succeeded) code_ = static_cast<int>(GetLastError());
  return succeeded;
}

bool SystemFile::close() {
  return !*this || record(CloseHandle(handle(std::exchange(file_, kNone))) != 0);
}

std::int64_t SystemFile::read(void* buffer, std::size_t size) {
  DWORD count = 0;
  const auto wanted = static_cast<DWORD>(std::min(size, kMostAtOnce));
  return record(ReadFile(handle(file_), buffer, wanted, &count, nullptr) != 0)
             ? static_cast<std::int64_t>(count)
             : -1;
}

bool SystemFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD count = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMostAtOnce));
    if (!record(WriteFile(handle(file_), bytes.data(), wanted, &count, nullptr) != 0)) return false;
    if (count == 0) {
      code_ = ERROR_WRITE_FAULT;
      return false;
    }
    bytes.remove_prefix(count);
  }
  return true;
}

std::int64_t SystemFile::seek(std::int64_t offset, SeekOrigin origin) {
  DWORD from = FILE_BEGIN;
  if (origin == SeekOrigin::current) from = FILE_CURRENT;
  if (origin == SeekOrigin::end) from = FILE_END;
  LARGE_INTEGER distance{};
  distance.QuadPart = offset;
  LARGE_INTEGER position{};
  return record(SetFilePointerEx(handle(file_), distance, &position, from) != 0) ? position.QuadPart
                                                                                 : -1;
}

std::int64_t SystemFile::size() {
  LARGE_INTEGER size{};
  return record(GetFileSizeEx(handle(file_), &size) != 0) ? size.QuadPart : -1;
}

bool SystemFile::set_length(std::size_t length) {
  FILE_END_OF_FILE_INFO info{};
  info.EndOfFile.QuadPart = static_cast<LONGLONG>(length);
  return record(SetFileInformationByHandle(handle(file_), FileEndOfFileInfo, &info, sizeof info) !=
                0);
}

bool SystemFile::reserve(std::size_t size) {
  FILE_STANDARD_INFO now{};
  if (!record(GetFileInformationByHandleEx(handle(file_), FileStandardInfo, &now, sizeof now) !=
              0)) {
    return false;
  }
  FILE_ALLOCATION_INFO wanted{};
  wanted.AllocationSize.QuadPart = static_cast<LONGLONG>(size);
  // Less than there is would cut the file. What is reserved in vain goes back with the closing.
  if (wanted.AllocationSize.QuadPart <= now.AllocationSize.QuadPart ||
      wanted.AllocationSize.QuadPart <= now.EndOfFile.QuadPart) {
    return true;
  }
  return record(SetFileInformationByHandle(handle(file_), FileAllocationInfo, &wanted,
                                           sizeof wanted) != 0) ||
         !is_lack_of_room(static_cast<DWORD>(code_));
}

bool SystemFile::flush() { return record(FlushFileBuffers(handle(file_)) != 0); }

}  // namespace zendro::framework
