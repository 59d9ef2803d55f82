#include <algorithm>
#include <array>
#include <utility>

#include <windows.h>
// Needs the types of windows.h.
#include <winternl.h>

#include "framework/file_stream.h"
#include "framework/files.h"
#include "framework/folder.h"
#include "framework/handle_win32.h"
#include "framework/path_win32.h"
#include "framework/system_error.h"

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
            ULONG options = 0) {
    std::wstring text = wide(name);
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
                     kShareAll, disposition,
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

  bool list(std::vector<Folder::Entry>& out, IoError& error) const override {
    out.clear();
    alignas(FILE_ID_BOTH_DIR_INFO) std::array<char, 65536> block;
    FILE_INFO_BY_HANDLE_CLASS next = FileIdBothDirectoryRestartInfo;
    while (GetFileInformationByHandleEx(folder_.get(), next, block.data(), block.size()) != 0) {
      next = FileIdBothDirectoryInfo;
      for (std::size_t at = 0;;) {
        const auto* info = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(block.data() + at);
        std::string name = narrow({info->FileName, info->FileNameLength / sizeof(wchar_t)});
        if (name != "." && name != "..") {
          out.push_back({std::move(name), kind_of_attributes(info->FileAttributes)});
        }
        if (info->NextEntryOffset == 0) break;
        at += info->NextEntryOffset;
      }
    }
    const DWORD code = GetLastError();
    // An empty root of a drive has no entry at all, not even that of itself.
    if (code != ERROR_NO_MORE_FILES && code != ERROR_FILE_NOT_FOUND) {
      error = system_error(path_to_utf8(path_), static_cast<int>(code));
      return false;
    }
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
    return true;
  }

  std::unique_ptr<Folder> open_folder(std::string_view name, IoError& error) const override {
    if (!accept(name, error)) return nullptr;
    OpenEntry entry(folder_.get(), name, kFolderAccess, FILE_OPEN);
    if (!entry) {
      error = open_error(label(name), entry.code(), INVALID_FILE_ATTRIBUTES, false);
      return nullptr;
    }
    if (kind_of_attributes(entry.attributes()) != EntryKind::folder) {
      error = not_a_folder(name, entry.attributes());
      return nullptr;
    }
    return std::make_unique<Win32Folder>(entry.take(), path_ / path_from_utf8(name));
  }

  bool create_folder(std::string_view name, IoError& error) const override {
    if (!accept_new(name, error)) return false;
    const OpenEntry entry(folder_.get(), name, 0, FILE_CREATE, FILE_DIRECTORY_FILE);
    if (entry || kind_of(name) == EntryKind::folder) return true;
    error = system_error(label(name), static_cast<int>(entry.code()));
    return false;
  }

  std::shared_ptr<IOImpl_base> open_file(std::string_view name, IoError& error) const override {
    if (!accept(name, error)) return nullptr;
    Handle file = open_regular(name, FILE_GENERIC_READ, FILE_OPEN, error);
    return file ? stream(std::move(file), FileAccess::read, label(name)) : nullptr;
  }

  std::shared_ptr<IOImpl_base> create_file(std::string_view name, IoError& error) const override {
    if (!accept_new(name, error)) return nullptr;
    Handle file = open_regular(name, FILE_GENERIC_WRITE, FILE_OPEN_IF, error);
    if (!file) return nullptr;
    BY_HANDLE_FILE_INFORMATION info{};
    FILE_END_OF_FILE_INFO empty{};
    if (GetFileInformationByHandle(file.get(), &info) == 0) {
      error = system_error(label(name), static_cast<int>(GetLastError()));
      return nullptr;
    }
    if (info.nNumberOfLinks > 1) {
      file = Handle();
      if (!remove(name, EntryKind::file, error)) return nullptr;
      file = open_regular(name, FILE_GENERIC_WRITE, FILE_CREATE, error);
      if (!file) return nullptr;
    } else if (SetFileInformationByHandle(file.get(), FileEndOfFileInfo, &empty, sizeof empty) ==
               0) {
      error = system_error(label(name), static_cast<int>(GetLastError()));
      return nullptr;
    }
    return stream(std::move(file), FileAccess::write, label(name));
  }

  bool remove_file(std::string_view name, IoError& error) const override {
    return accept(name, error) && remove(name, EntryKind::file, error);
  }

  bool remove_folder(std::string_view name, IoError& error) const override {
    return accept(name, error) && remove(name, EntryKind::folder, error);
  }

 private:
  [[nodiscard]] std::string label(std::string_view name) const {
    return path_to_utf8(path_ / path_from_utf8(name));
  }

  bool accept(std::string_view name, IoError& error) const {
    if (is_one_component(name)) return true;
    error.text = path_to_utf8(path_) + ": '" + std::string(name) + "' is not the name of an entry";
    return false;
  }

  // What is there may have any name; nothing is made that other programs could not open.
  bool accept_new(std::string_view name, IoError& error) const {
    if (is_plain_name(name)) return true;
    error.text = path_to_utf8(path_) + ": '" + std::string(name) + "' is no possible name here";
    return false;
  }

  [[nodiscard]] IoError not_a_folder(std::string_view name, DWORD attributes) const {
    const bool is_link = (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    return {label(name) + (is_link ? ": is a link" : ": is not a folder")};
  }

  static std::shared_ptr<IOImpl_base> stream(Handle file, FileAccess access, std::string label) {
    return make_file_stream(SystemFile(reinterpret_cast<SystemFile::Native>(file.release())),
                            access, std::move(label));
  }

  Handle open_regular(std::string_view name, ACCESS_MASK access, ULONG disposition,
                      IoError& error) const {
    OpenEntry entry(folder_.get(), name, access, disposition);
    if (!entry) {
      const bool for_writing = disposition != FILE_OPEN;
      const OpenEntry looked_at(folder_.get(), name, 0, FILE_OPEN);
      error = open_error(label(name), entry.code(), looked_at.attributes(), for_writing);
      return Handle();
    }
    return accept_regular(entry.attributes(), label(name), error) ? entry.take() : Handle();
  }

  // `kind` is folder for a folder itself, and file for everything else.
  bool remove(std::string_view name, EntryKind kind, IoError& error) const {
    const OpenEntry entry(folder_.get(), name, DELETE, FILE_OPEN);
    if (!entry) {
      error = system_error(label(name), static_cast<int>(entry.code()));
      return false;
    }
    const bool is_folder = kind_of_attributes(entry.attributes()) == EntryKind::folder;
    if (is_folder != (kind == EntryKind::folder)) {
      error = is_folder ? IoError{label(name) + ": is a folder"}
                        : not_a_folder(name, entry.attributes());
      return false;
    }
    if (remove_opened(entry.get())) return true;
    error = open_error(label(name), GetLastError(), is_folder ? 0 : entry.attributes(), true);
    return false;
  }

  Handle folder_;
  fs::path path_;
};

}  // namespace

std::unique_ptr<Folder> Folder::open(const fs::path& path, IoError& error) {
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
    error = system_error(path_to_utf8(path), static_cast<int>(code));
    return nullptr;
  }
  return std::make_unique<Win32Folder>(std::move(folder), path);
}

}  // namespace zendro::framework
