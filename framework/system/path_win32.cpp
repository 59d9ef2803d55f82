#include "framework/system/path_win32.h"

#include <windows.h>

namespace zendro::framework {
namespace {

constexpr std::wstring_view kLongPrefix = LR"(\\?\)";
constexpr std::wstring_view kLongUncPrefix = LR"(\\?\UNC\)";
constexpr std::wstring_view kDevicePrefix = LR"(\\.\)";
constexpr std::wstring_view kUncPrefix = LR"(\\)";
/// A folder needs room for a file name of the 8.3 form within MAX_PATH.
constexpr std::size_t kLongest = MAX_PATH - 13;

}  // namespace

std::wstring api_path(const std::filesystem::path& path) {
  const std::wstring& given = path.native();
  if (given.find(L'\0') != std::wstring::npos) return {};
  std::wstring full;
  for (DWORD needed = MAX_PATH; needed > full.size();) {
    full.resize(needed);
    needed = GetFullPathNameW(given.c_str(), needed, full.data(), nullptr);
    if (needed < full.size()) {
      full.resize(needed);
      break;
    }
  }
  if (full.size() <= kLongest || full.starts_with(kLongPrefix) || full.starts_with(kDevicePrefix)) {
    return full;
  }
  if (full.starts_with(kUncPrefix)) {
    return std::wstring(kLongUncPrefix) + full.substr(kUncPrefix.size());
  }
  return std::wstring(kLongPrefix) + full;
}

std::wstring without_prefix(std::wstring path) {
  if (path.starts_with(kLongUncPrefix)) {
    return std::wstring(kUncPrefix) + path.substr(kLongUncPrefix.size());
  }
  return path.starts_with(kLongPrefix) ? path.substr(kLongPrefix.size()) : path;
}

}  // namespace zendro::framework
