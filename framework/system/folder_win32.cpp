#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <windows.h>
// Needs the types of windows.h.
#include <winternl.h>

#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/system/handle_win32.h"
#include "framework/system/path_win32.h"
#include "framework/system/system_error.h"
#include "framework/text/utf8.h"

namespace zendro::framework {

namespace fs = std::filesystem;

namespace {

constexpr ACCESS_MASK kFolderAccess =
    FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES | SYNCHRONIZE;
constexpr ACCESS_MASK kLook = FILE_READ_ATTRIBUTES | SYNCHRONIZE;

// FileDispositionInfoEx and its FILE_DISPOSITION_FLAG_ values, which not every compiler's headers
// offer.
constexpr auto kDispositionInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(21);
struct DispositionInfoEx {
  DWORD flags;
};
// FileRenameInformation, which some headers leave out.
constexpr int kRenameInformation = 10;
// FileLinkInformation, whose structure is the same.
constexpr int kLinkInformation = 11;
constexpr DWORD kDelete = 1;
constexpr DWORD kPosixSemantics = 2;

bool is_one_component(std::string_view name) {
  constexpr std::string_view kRefused("/\\\0", 3);
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(kRefused) == std::string_view::npos;
}

EntryKind kind_of_attributes(DWORD attributes) {
  if ((attributes & (FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) != 0) {
    return EntryKind::other;
  }
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EntryKind::folder : EntryKind::file;
}

bool is_absence(DWORD code) {
  // A name that the system refuses stands nowhere; what is about to go stands there no more.
  return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND ||
         code == ERROR_INVALID_NAME || code == ERROR_FILENAME_EXCED_RANGE ||
         code == ERROR_DELETE_PENDING;
}

// What the entry relative to an open folder opens as; the folder's path plays no part, so nothing
// that is put into its place is touched, and a link is opened itself. Names are not read as the
// Windows subsystem reads them: no device, no lost dot.
class OpenEntry {
 public:
  OpenEntry(HANDLE folder, std::string_view name, ACCESS_MASK access, ULONG disposition,
            ULONG options = 0, ULONG sharing = kShareAll) {
    std::wstring text = to_wide(name);
    // A name has room for far more than any file system stores.
    if (text.size() > 0x7000 || text.find(L':') != std::wstring::npos) {
      code_ = ERROR_INVALID_NAME;  // ":" would begin the name of a stream
      return;
    }
    UNICODE_STRING entry{};
    entry.Length = static_cast<USHORT>(text.size() * sizeof(wchar_t));
    entry.MaximumLength = entry.Length;
    entry.Buffer = text.data();
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.RootDirectory = folder;
    attributes.ObjectName = &entry;
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    IO_STATUS_BLOCK status{};
    HANDLE opened = INVALID_HANDLE_VALUE;
    const NTSTATUS result =
        NtCreateFile(&opened, access | kLook, &attributes, &status, nullptr, FILE_ATTRIBUTE_NORMAL,
                     sharing, disposition,
                     options | FILE_OPEN_REPARSE_POINT | FILE_SYNCHRONOUS_IO_NONALERT |
                         FILE_OPEN_FOR_BACKUP_INTENT,
                     nullptr, 0);
    if (result < 0) {
      code_ = RtlNtStatusToDosError(result);
    } else {
      handle_ = Handle(opened);
      attributes_ = attributes_of(opened);
    }
  }

  explicit operator bool() const { return static_cast<bool>(handle_); }
  [[nodiscard]] HANDLE get() const { return handle_.get(); }
  [[nodiscard]] Handle take() { return std::move(handle_); }
  /// Why it is not open.
  [[nodiscard]] DWORD code() const { return code_; }
  [[nodiscard]] DWORD attributes() const { return attributes_; }

 private:
  Handle handle_;
  DWORD attributes_ = INVALID_FILE_ATTRIBUTES;
  DWORD code_ = ERROR_SUCCESS;
};

// Removes what is open, as soon as possible: elsewhere open or not, its name is free at once where
// the system can do that, else when the last program closes it.
bool remove_opened(HANDLE opened) {
  DispositionInfoEx at_once{kDelete | kPosixSemantics};
  if (SetFileInformationByHandle(opened, kDispositionInfoEx, &at_once, sizeof at_once) != 0) {
    return true;
  }
  const DWORD code = GetLastError();
  const bool unknown = code == ERROR_INVALID_PARAMETER || code == ERROR_INVALID_FUNCTION ||
                       code == ERROR_NOT_SUPPORTED || code == ERROR_CALL_NOT_IMPLEMENTED;
  if (!unknown) return false;
  FILE_DISPOSITION_INFO at_closing{};
  at_closing.DeleteFile = TRUE;
  return SetFileInformationByHandle(opened, FileDispositionInfo, &at_closing, sizeof at_closing) !=
         0;
}

// Gives what is open another name (kRenameInformation, in the place of a file that has it), or a
// second one (kLinkInformation), in a folder.
DWORD name_opened(HANDLE opened, HANDLE folder, const std::wstring& name, int information) {
  const std::size_t bytes = name.size() * sizeof(wchar_t);
  std::vector<char> buffer(sizeof(FILE_RENAME_INFORMATION) + bytes);
  auto* const renaming = new (buffer.data()) FILE_RENAME_INFORMATION{};
  renaming->ReplaceIfExists = information == kRenameInformation ? TRUE : FALSE;
  renaming->RootDirectory = folder;
  renaming->FileNameLength = static_cast<ULONG>(bytes);
  std::memcpy(buffer.data() + offsetof(FILE_RENAME_INFORMATION, FileName), name.data(), bytes);
  IO_STATUS_BLOCK status{};
  const NTSTATUS result =
      NtSetInformationFile(opened, &status, renaming, static_cast<ULONG>(buffer.size()),
                           static_cast<FILE_INFORMATION_CLASS>(information));
  return result < 0 ? RtlNtStatusToDosError(result) : ERROR_SUCCESS;
}

struct Mode {
  ACCESS_MASK access;
  ULONG disposition;
};

Mode mode_of(OpenHow how) {
  switch (how) {
    case OpenHow::read:
      return {FILE_GENERIC_READ, FILE_OPEN};
    case OpenHow::write:
      return {FILE_GENERIC_WRITE, FILE_OPEN_IF};
    case OpenHow::write_new:
    case OpenHow::write_private:
      return {FILE_GENERIC_WRITE, FILE_CREATE};
    case OpenHow::append:
      return {FILE_APPEND_DATA, FILE_OPEN_IF};
    case OpenHow::read_write:
      return {FILE_GENERIC_READ | FILE_GENERIC_WRITE, FILE_OPEN_IF};
  }
  return {FILE_GENERIC_READ, FILE_OPEN};
}

class Win32Folder : public Folder {
 public:
  Win32Folder(Handle folder, fs::path path) : folder_(std::move(folder)), path_(std::move(path)) {}

  [[nodiscard]] const fs::path& path() const override { return path_; }

  [[nodiscard]] EntryKind kind_of(std::string_view name) const override {
    // A name that cannot be looked up is not called absent: something may stand there.
    if (!is_one_component(name)) return EntryKind::other;
    const OpenEntry entry(folder_.get(), name, 0, FILE_OPEN);
    if (entry) return kind_of_attributes(entry.attributes());
    return is_absence(entry.code()) ? EntryKind::absent : EntryKind::other;
  }

  [[nodiscard]] Result<std::vector<Folder::Entry>> list() const override {
    std::vector<Folder::Entry> entries;
    alignas(FILE_ID_BOTH_DIR_INFO) std::array<char, 65536> block;
    FILE_INFO_BY_HANDLE_CLASS next = FileIdBothDirectoryRestartInfo;
    while (GetFileInformationByHandleEx(folder_.get(), next, block.data(), block.size()) != 0) {
      next = FileIdBothDirectoryInfo;
      for (std::size_t at = 0;;) {
        const auto* info = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(block.data() + at);
        std::string name = to_utf8({info->FileName, info->FileNameLength / sizeof(wchar_t)});
        if (name != "." && name != "..") {
          entries.push_back({std::move(name), kind_of_attributes(info->FileAttributes)});
        }
        if (info->NextEntryOffset == 0) break;
        at += info->NextEntryOffset;
      }
    }
    const DWORD code = GetLastError();
    // An empty root of a drive has no entry at all, not even that of itself.
    if (code != ERROR_NO_MORE_FILES && code != ERROR_FILE_NOT_FOUND) {
      return tl::unexpected(system_error(path_to_utf8(path_), static_cast<int>(code)));
    }
    std::sort(entries.begin(), entries.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
    return entries;
  }

  [[nodiscard]] Result<std::unique_ptr<Folder>> open_folder(std::string_view name) const override {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    OpenEntry entry(folder_.get(), name, kFolderAccess, FILE_OPEN);
    if (!entry) {
      return tl::unexpected(open_error(label(name), entry.code(), INVALID_FILE_ATTRIBUTES, false));
    }
    if (kind_of_attributes(entry.attributes()) != EntryKind::folder) {
      return tl::unexpected(not_a_folder(name, entry.attributes()));
    }
    return std::make_unique<Win32Folder>(entry.take(), path_ / path_from_utf8(name));
  }

  [[nodiscard]] Result<void> create_folder(std::string_view name) const override {
    if (!is_plain_name(name)) return tl::unexpected(no_possible_name(name));
    const OpenEntry entry(folder_.get(), name, 0, FILE_CREATE, FILE_DIRECTORY_FILE);
    if (entry || kind_of(name) == EntryKind::folder) return {};
    return tl::unexpected(system_error(label(name), static_cast<int>(entry.code())));
  }

  [[nodiscard]] Result<void> rename_file(std::string_view name,
                                         std::string_view new_name) const override {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    if (!is_plain_name(new_name)) return tl::unexpected(no_possible_name(new_name));
    const OpenEntry entry(folder_.get(), name, DELETE, FILE_OPEN);
    DWORD code = entry.code();
    if (entry) {
      const bool is_folder = kind_of_attributes(entry.attributes()) == EntryKind::folder;
      code = is_folder
                 ? ERROR_DIRECTORY
                 : name_opened(entry.get(), folder_.get(), to_wide(new_name), kRenameInformation);
    }
    if (code == ERROR_SUCCESS) return {};
    return tl::unexpected(system_error(label(new_name), static_cast<int>(code)));
  }

  [[nodiscard]] Result<void> link_file(std::string_view name, const Folder& target,
                                       std::string_view new_name) const override {
    const auto* there = dynamic_cast<const Win32Folder*>(&target);
    if (there == nullptr) return tl::unexpected(system_error(label(name), ERROR_NOT_SAME_DEVICE));
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    if (!is_plain_name(new_name)) return tl::unexpected(there->no_possible_name(new_name));
    const OpenEntry entry(folder_.get(), name, FILE_WRITE_ATTRIBUTES, FILE_OPEN);
    DWORD code = entry.code();
    if (entry) {
      const bool is_file = kind_of_attributes(entry.attributes()) == EntryKind::file;
      code = !is_file ? ERROR_NOT_SUPPORTED
                      : name_opened(entry.get(), there->folder_.get(), to_wide(new_name),
                                    kLinkInformation);
    }
    if (code == ERROR_SUCCESS) return {};
    return tl::unexpected(system_error(there->label(new_name), static_cast<int>(code)));
  }

  [[nodiscard]] Result<void> remove_file(std::string_view name) const override {
    return remove(name, EntryKind::file);
  }

  [[nodiscard]] Result<void> remove_folder(std::string_view name) const override {
    return remove(name, EntryKind::folder);
  }

 private:
  [[nodiscard]] tl::expected<SystemFile, NotOpened> open_entry(std::string_view name,
                                                               OpenHow how) const override {
    const bool for_writing = how != OpenHow::read;
    if (for_writing && !is_plain_name(name)) {
      return tl::unexpected(NotOpened{no_possible_name(name)});
    }
    if (!is_one_component(name)) return tl::unexpected(NotOpened{no_entry(name)});
    const auto [access, disposition] = mode_of(how);
    // While a file is written none of its names can be taken away, so that the only name of one
    // that has no other is the name here.
    OpenEntry entry(folder_.get(), name, access, disposition, 0,
                    for_writing ? kShareAll & ~FILE_SHARE_DELETE : kShareAll);
    if (!entry) {
      const OpenEntry found(folder_.get(), name, 0, FILE_OPEN);
      const bool is_foreign = found && kind_of_attributes(found.attributes()) == EntryKind::other;
      return tl::unexpected(NotOpened{
          open_error(label(name), entry.code(), found.attributes(), for_writing), is_foreign});
    }
    if (const auto regular = accept_regular(entry.attributes(), label(name)); !regular) {
      const bool is_foreign = kind_of_attributes(entry.attributes()) == EntryKind::other;
      return tl::unexpected(NotOpened{regular.error(), is_foreign});
    }
    BY_HANDLE_FILE_INFORMATION info{};
    if (for_writing && GetFileInformationByHandle(entry.get(), &info) == 0) {
      const DWORD code = GetLastError();
      return tl::unexpected(NotOpened{system_error(label(name), static_cast<int>(code))});
    }
    if (info.nNumberOfLinks > 1) {
      return tl::unexpected(
          NotOpened{{label(name) + ": is a file with another name elsewhere"}, true});
    }
    return SystemFile(reinterpret_cast<SystemFile::Native>(entry.take().release()));
  }

  [[nodiscard]] std::vector<std::uint64_t> stamp_values(std::string_view name) const override {
    if (!is_one_component(name)) return {};
    const OpenEntry found(folder_.get(), name, 0, FILE_OPEN);
    BY_HANDLE_FILE_INFORMATION info{};
    if (!found || GetFileInformationByHandle(found.get(), &info) == 0) return {};
    const auto joined = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
    return {joined(info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime),
            joined(info.nFileSizeHigh, info.nFileSizeLow),
            joined(info.nFileIndexHigh, info.nFileIndexLow)};
  }

  [[nodiscard]] IoError no_entry(std::string_view name) const {
    return {path_to_utf8(path_) + ": '" + std::string(name) + "' is not the name of an entry"};
  }

  // What is there may have any name; nothing is made that other programs could not open.
  [[nodiscard]] IoError no_possible_name(std::string_view name) const {
    return {path_to_utf8(path_) + ": '" + std::string(name) + "' is no possible name here"};
  }

  [[nodiscard]] IoError not_a_folder(std::string_view name, DWORD attributes) const {
    const bool is_link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return {label(name) + (is_link ? ": is a link" : ": is not a folder")};
  }

  // `kind` is folder for a folder itself, and file for everything else.
  [[nodiscard]] Result<void> remove(std::string_view name, EntryKind kind) const {
    if (!is_one_component(name)) return tl::unexpected(no_entry(name));
    const OpenEntry entry(folder_.get(), name, DELETE, FILE_OPEN);
    if (!entry) return tl::unexpected(system_error(label(name), static_cast<int>(entry.code())));
    const bool is_folder = kind_of_attributes(entry.attributes()) == EntryKind::folder;
    if (is_folder != (kind == EntryKind::folder)) {
      return tl::unexpected(is_folder ? IoError{label(name) + ": is a folder"}
                                      : not_a_folder(name, entry.attributes()));
    }
    if (remove_opened(entry.get())) return {};
    const DWORD code = GetLastError();
    return tl::unexpected(open_error(label(name), code, is_folder ? 0 : entry.attributes(), true));
  }

  Handle folder_;
  fs::path path_;
};

}  // namespace

Result<std::unique_ptr<Folder>> Folder::open(const fs::path& path) {
  const std::wstring name = api_path(path);
  Handle folder;
  DWORD code = ERROR_INVALID_NAME;
  if (!name.empty()) {
    folder = Handle(CreateFileW(name.c_str(), kFolderAccess, kShareAll, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    code = GetLastError();
  }
  if (folder && (attributes_of(folder.get()) & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    folder = Handle();
    code = ERROR_DIRECTORY;
  }
  if (!folder) {
    return tl::unexpected(system_error(path_to_utf8(path), static_cast<int>(code)));
  }
  return std::make_unique<Win32Folder>(std::move(folder), path);
}

}  // namespace zendro::framework
