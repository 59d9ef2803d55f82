#include "framework/system/handle_win32.h"

#include "framework/system/system_error.h"
#include "framework/text/utf8.h"

namespace zendro::framework {

std::string system_cause(int code) {
  wchar_t* text = nullptr;
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
          FORMAT_MESSAGE_MAX_WIDTH_MASK,
      nullptr, static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::wstring_view found(text, length);
  while (!found.empty() && found.back() <= L' ') found.remove_suffix(1);
  std::string cause = found.empty() ? "the system's error " + std::to_string(code) : to_utf8(found);
  LocalFree(text);
  return cause;
}

IoError system_error(std::string_view label, int code) {
  return {std::string(label) + ": " + system_cause(code)};
}

DWORD attributes_of(HANDLE file) {
  FILE_BASIC_INFO info{};
  if (GetFileType(file) != FILE_TYPE_DISK ||
      GetFileInformationByHandleEx(file, FileBasicInfo, &info, sizeof info) == 0) {
    return FILE_ATTRIBUTE_DEVICE;
  }
  return info.FileAttributes;
}

Result<void> accept_regular(DWORD attributes, std::string_view label) {
  const char* fault = nullptr;
  if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) {
    fault = "is not a regular file";
  } else if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    fault = "is a link";
  } else if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    fault = "is a folder";
  }
  if (fault == nullptr) return {};
  return tl::unexpected(IoError{std::string(label) + ": " + fault});
}

IoError open_error(std::string_view label, DWORD code, DWORD attributes, bool for_writing) {
  if (code == ERROR_ACCESS_DENIED && attributes != INVALID_FILE_ATTRIBUTES) {
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      return {std::string(label) + ": is a folder"};
    }
    if (for_writing && (attributes & FILE_ATTRIBUTE_READONLY) != 0) {
      return {std::string(label) + ": is marked as read-only"};
    }
  }
  return system_error(label, static_cast<int>(code));
}

}  // namespace zendro::framework
