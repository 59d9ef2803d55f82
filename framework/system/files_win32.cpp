#include <array>

#include <windows.h>
#include <shlobj.h>

#include "framework/system/files.h"
#include "framework/system/files_internal.h"
#include "framework/system/handle_win32.h"
#include "framework/system/path_win32.h"
#include "framework/system/system_error.h"
#include "framework/system/this_process.h"
#include "framework/text/utf8.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

// Opens what stands at a path, links followed, only to look at it.
Handle open_to_look(const std::wstring& name) {
  return Handle(CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr, OPEN_EXISTING,
                            FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

bool is_folder(const std::wstring& name) {
  const Handle found = open_to_look(name);
  return found && (attributes_of(found.get()) & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// The path of what is open; empty where the system does not tell, as for some network drives.
std::wstring final_path(HANDLE file) {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetFinalPathNameByHandleW(
        file, path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED | VOLUME_NAME_DOS);
    const bool complete = length < path.size();
    path.resize(length);
    if (complete) return without_prefix(std::move(path));
  }
}

}  // namespace

fs::path path_from_utf8(std::string_view text) { return fs::path(to_wide(text)); }

std::string path_to_utf8(const fs::path& path) { return to_utf8(path.native()); }

std::string comparable_name(std::string_view name) {
  const std::wstring text = to_wide(name);
  if (text.empty()) return {};
  // Capital letters of single characters, as file systems compare them.
  std::wstring upper(text.size(), L'\0');
  const int length = LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, text.data(),
                                   static_cast<int>(text.size()), upper.data(),
                                   static_cast<int>(upper.size()), nullptr, nullptr, 0);
  return length == 0 ? std::string(name) : to_utf8(upper);
}

fs::path resolved_path(const fs::path& path) {
  const fs::path full = without_prefix(api_path(path));
  fs::path existing = full;
  fs::path rest;
  for (;;) {
    if (const Handle found = open_to_look(api_path(existing))) {
      const fs::path resolved = final_path(found.get());
      if (resolved.empty()) return full;
      return rest.empty() ? resolved : resolved / rest;
    }
    if (!existing.has_relative_path()) return full;
    const fs::path name = existing.filename();
    rest = rest.empty() ? name : name / rest;
    existing = existing.parent_path();
  }
}

std::string make_folders(const fs::path& path) {
  const std::wstring name = api_path(path);
  if (name.empty()) return system_cause(ERROR_INVALID_NAME);
  if (is_folder(name)) return {};
  const fs::path given = path.has_filename() ? path : path.parent_path();
  const fs::path parent = given.parent_path();
  if (!parent.empty() && parent != given) {
    const std::string cause = make_folders(parent);
    if (!cause.empty()) return cause;
  }
  if (CreateDirectoryW(name.c_str(), nullptr) != 0) return {};
  const DWORD code = GetLastError();
  // Somebody else may have been quicker.
  if (is_folder(name)) return {};
  return system_cause(code == ERROR_ALREADY_EXISTS ? ERROR_DIRECTORY : static_cast<int>(code));
}

bool file_exists(const fs::path& path) {
  constexpr DWORD kNoFile = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE;
  const Handle found = open_to_look(api_path(path));
  return found && (attributes_of(found.get()) & kNoFile) == 0;
}

bool is_missing(const fs::path& path) {
  if (GetFileAttributesW(api_path(path).c_str()) != INVALID_FILE_ATTRIBUTES) return false;
  const DWORD code = GetLastError();
  return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

fs::path executable_path() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) {
      path.resize(length);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

fs::path common_appdata_folder() {
  if (const std::string folder = environment_value("ZENDRO_COMMON_APPDATA"); !folder.empty()) {
    return path_from_utf8(folder);
  }
  std::array<wchar_t, MAX_PATH> folder{};
  const HRESULT result =
      SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, folder.data());
  return result == S_OK ? fs::path(folder.data()) : fs::path();
}

fs::path path_from_url_path(std::string_view path) {
  // "/C:/folder/file" (RFC 8089, appendix E.2).
  const fs::path local = path_from_utf8(path.substr(1));
  const bool on_drive = local.is_absolute() && local.root_name().native().size() == 2 &&
                        local.root_name().native()[1] == L':';
  return on_drive ? local : fs::path();
}

}  // namespace zendro::framework
