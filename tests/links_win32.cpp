#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

#include "tests/links.h"
// Needs the types of windows.h.
#include <winioctl.h>

#include "framework/system/handle_win32.h"

namespace zendro::tests {
namespace {

/// The data of a junction; the names, each with a NUL behind it, follow.
struct MountPoint {
  DWORD tag;
  WORD data_length;
  WORD reserved;
  WORD target_offset;
  WORD target_length;
  WORD shown_offset;
  WORD shown_length;
};

}  // namespace

bool make_folder_link(const std::filesystem::path& target, const std::filesystem::path& link) {
  constexpr DWORD kHeader = offsetof(MountPoint, target_offset);
  const std::wstring shown = std::filesystem::absolute(target).make_preferred().wstring();
  const std::wstring name = LR"(\??\)" + shown;
  const auto bytes_of = [](const std::wstring& text) {
    return static_cast<WORD>(text.size() * sizeof(wchar_t));
  };
  MountPoint head{};
  head.tag = IO_REPARSE_TAG_MOUNT_POINT;
  head.target_length = bytes_of(name);
  head.shown_offset = static_cast<WORD>(bytes_of(name) + sizeof(wchar_t));
  head.shown_length = bytes_of(shown);
  const std::size_t size = sizeof head + head.shown_offset + head.shown_length + sizeof(wchar_t);
  head.data_length = static_cast<WORD>(size - kHeader);
  std::vector<char> data(size);
  std::memcpy(data.data(), &head, sizeof head);
  std::memcpy(data.data() + sizeof head, name.data(), head.target_length);
  std::memcpy(data.data() + sizeof head + head.shown_offset, shown.data(), head.shown_length);

  std::filesystem::create_directory(link);
  framework::Handle folder(
      CreateFileW(link.c_str(), GENERIC_WRITE, framework::kShareAll, nullptr, OPEN_EXISTING,
                  FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  DWORD ignored = 0;
  if (folder && DeviceIoControl(folder.get(), FSCTL_SET_REPARSE_POINT, data.data(),
                                static_cast<DWORD>(size), nullptr, 0, &ignored, nullptr) != 0) {
    return true;
  }
  folder = framework::Handle();
  std::filesystem::remove(link);
  if (!is_wine()) throw std::runtime_error("no junction can be made");
  return false;
}

bool is_wine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

std::vector<Plant> plants(const std::filesystem::path& outside) {
  // Without the right to make symbolic links nobody can plant one either.
  const auto link_to = [outside](const char* target, DWORD flags) {
    return [outside, target, flags](const std::filesystem::path& place) {
      const std::filesystem::path to = outside / target;
      return !is_wine() && CreateSymbolicLinkW(place.c_str(), to.c_str(), flags) != 0;
    };
  };
  return {{"link to a file", link_to("file", 0)},
          {"link to a missing file", link_to("missing", 0)},
          {"link to a folder", link_to("sub", SYMBOLIC_LINK_FLAG_DIRECTORY)},
          {"junction",
           [outside](const std::filesystem::path& place) {
             return make_folder_link(outside / "sub", place);
           }},
          {"hard link", [outside](const std::filesystem::path& place) {
             std::filesystem::create_hard_link(outside / "file", place);
             return true;
           }}};
}

}  // namespace zendro::tests
