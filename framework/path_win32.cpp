#include "framework/path_win32.h"

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

std::wstring wide(std::string_view utf8) {
  const int size = static_cast<int>(utf8.size());
  std::wstring text;
  text.resize(
      static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)));
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, text.data(), static_cast<int>(text.size()));
  return text;
}

std::string narrow(std::wstring_view text) {
  const int size = static_cast<int>(text.size());
  std::string utf8;
  utf8.resize(static_cast<std::size_t>(
      WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)));
  WideCharToMultiByte(CP_UTF8, 0, text.data(), size, utf8.data(), static_cast<int>(utf8.size()),
                      nullptr, nullptr);
  return utf8;
}

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
