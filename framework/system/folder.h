// An open folder whose entries are reached without ever following a link.
//
// Every name given to it is one path component; any other is refused. Links (also junctions) are
// refused when opened for reading and removed as themselves when deleted. Written is only a regular
// file that is known under the name in this folder and under no other, so nothing outside the
// folder is ever read, written or deleted through it, whatever another program puts there
// meanwhile.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/io.h"
#include "framework/system/system_file.h"

namespace zendro::framework {

/// Whether `name` can be the name of one file or folder on every platform: not empty, "." or "..",
/// without separators, colon, control characters and other characters that Windows refuses, no
/// reserved device name, no trailing dot or blank; valid UTF-8 of at most 255 bytes.
bool is_plain_name(std::string_view name);
/// The same, device names included: for what has its names from other programs. On Windows, where
/// they are reserved, a Folder still makes nothing with such a name.
bool is_plain_or_device_name(std::string_view name);

/// What stands under a name. `other` is a link, a pipe or the like, or something that could not be
/// looked at.
enum class EntryKind { absent, file, folder, other };

class Folder {
 public:
  struct Entry {
    std::string name;
    EntryKind kind;
  };

  /// Opens a folder by its path, links in the path included.
  static Result<std::unique_ptr<Folder>> open(const std::filesystem::path& path);

  virtual ~Folder() = default;

  [[nodiscard]] virtual const std::filesystem::path& path() const = 0;
  [[nodiscard]] virtual EntryKind kind_of(std::string_view name) const = 0;
  /// The entries, by name ascending.
  [[nodiscard]] virtual Result<std::vector<Entry>> list() const = 0;

  [[nodiscard]] virtual Result<std::unique_ptr<Folder>> open_folder(
      std::string_view name) const = 0;
  /// Creates the folder `name`; no failure when it exists already.
  [[nodiscard]] virtual Result<void> create_folder(std::string_view name) const = 0;
  /// Gives the file `name` another name, in the place of a file that has it already.
  [[nodiscard]] virtual Result<void> rename_file(std::string_view name,
                                                 std::string_view new_name) const = 0;
  /// Gives the file `name` a second name, `new_name` in `target` (a hard link). It fails where
  /// something has that name already, where `name` is no regular file, and where the system or its
  /// file system cannot do that or the user may not.
  [[nodiscard]] virtual Result<void> link_file(std::string_view name, const Folder& target,
                                               std::string_view new_name) const = 0;
  /// Removes a file, or a link as itself.
  [[nodiscard]] virtual Result<void> remove_file(std::string_view name) const = 0;
  /// Removes an empty folder.
  [[nodiscard]] virtual Result<void> remove_folder(std::string_view name) const = 0;

  // Files. Reading one accepts a regular file; writing one makes a new file in the place of
  // anything else but a folder: of a link, a pipe, a device, and of a file with a second name
  // elsewhere (a hard link), which stays there as it is.

  /// Opens the regular file `name`.
  [[nodiscard]] OpenedStream open_file(std::string_view name) const;
  /// Creates or truncates the file `name` for writing.
  [[nodiscard]] OpenedStream create_file(std::string_view name) const;
  /// Creates the file `name` for writing; refused where something stands.
  [[nodiscard]] OpenedStream create_new_file(std::string_view name) const;
  /// Opens the file `name` for writing at its end: created when missing.
  [[nodiscard]] OpenedStream append_file(std::string_view name) const;
  /// Reads the whole file `name` as read_file(path, ...) does.
  [[nodiscard]] Result<std::string> read_file(std::string_view name, std::uint64_t limit) const;
  /// Replaces the contents of the file `name` as write_file(path, ...) does.
  [[nodiscard]] WriteResult write_file(std::string_view name, std::string_view bytes) const;
  /// Opens the file `name` to be locked, created when missing; only for reading where it may not be
  /// written. What is no file of this folder alone is refused and stays: whoever holds it as the
  /// lock would no longer be found.
  [[nodiscard]] Result<SystemFile> open_lock(std::string_view name) const;
  /// A value that changes when the contents of the file `name` are replaced (0: it does not exist).
  /// It is made of the time of the last modification, in the file system's resolution, the size and
  /// the identity of the file, and of nothing else.
  [[nodiscard]] std::uint64_t stamp_of(std::string_view name) const;

 protected:
  /// Why an entry was not opened.
  struct NotOpened {
    IoError cause;
    bool is_foreign = false;  ///< neither a file of this folder alone nor a folder stands there
  };

  /// The path of an entry as error texts begin with it.
  [[nodiscard]] std::string label(std::string_view name) const;

 private:
  struct OwnFile {
    SystemFile file;
    bool is_new;  ///< made in the place of something foreign
  };

  /// Opens a regular file; for writing one that is known under this name alone.
  [[nodiscard]] virtual tl::expected<SystemFile, NotOpened> open_entry(std::string_view name,
                                                                       OpenHow how) const = 0;
  /// Time of the last modification, size and identity; nothing where the entry does not exist.
  [[nodiscard]] virtual std::vector<std::uint64_t> stamp_values(std::string_view name) const = 0;

  /// The same, once what is foreign is removed.
  [[nodiscard]] Result<OwnFile> open_own(std::string_view name, OpenHow how) const;
};

}  // namespace zendro::framework
