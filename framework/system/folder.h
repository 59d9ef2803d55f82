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

  /// Opens a folder by its path, links in the path included; null, with the cause, on failure.
  static std::unique_ptr<Folder> open(const std::filesystem::path& path, IoError& error);

  virtual ~Folder() = default;

  [[nodiscard]] virtual const std::filesystem::path& path() const = 0;
  [[nodiscard]] virtual EntryKind kind_of(std::string_view name) const = 0;
  /// The entries, by name ascending.
  virtual bool list(std::vector<Entry>& out, IoError& error) const = 0;

  virtual std::unique_ptr<Folder> open_folder(std::string_view name, IoError& error) const = 0;
  /// Creates the folder `name`; true also when it exists already.
  virtual bool create_folder(std::string_view name, IoError& error) const = 0;
  /// Gives the file `name` another name, in the place of a file that has it already.
  virtual bool rename_file(std::string_view name, std::string_view new_name,
                           IoError& error) const = 0;
  /// Gives the file `name` a second name, `new_name` in `target` (a hard link). False where
  /// something has that name already, where `name` is no regular file, and where the system or its
  /// file system cannot do that or the user may not.
  virtual bool link_file(std::string_view name, const Folder& target, std::string_view new_name,
                         IoError& error) const = 0;
  /// Removes a file, or a link as itself.
  virtual bool remove_file(std::string_view name, IoError& error) const = 0;
  /// Removes an empty folder.
  virtual bool remove_folder(std::string_view name, IoError& error) const = 0;

  // Files. Reading one accepts a regular file; writing one makes a new file in the place of
  // anything else but a folder: of a link, a pipe, a device, and of a file with a second name
  // elsewhere (a hard link), which stays there as it is.

  /// Opens the regular file `name`.
  std::shared_ptr<IOImpl_base> open_file(std::string_view name, IoError& error) const;
  /// Creates or truncates the file `name` for writing.
  std::shared_ptr<IOImpl_base> create_file(std::string_view name, IoError& error) const;
  /// Creates the file `name` for writing; refused where something stands.
  std::shared_ptr<IOImpl_base> create_new_file(std::string_view name, IoError& error) const;
  /// Opens the file `name` for writing at its end: created when missing.
  std::shared_ptr<IOImpl_base> append_file(std::string_view name, IoError& error) const;
  /// Reads the whole file `name` as read_file(path, ...) does.
  bool read_file(std::string_view name, std::string& out, std::uint64_t limit,
                 IoError& error) const;
  /// Replaces the contents of the file `name` as write_file(path, ...) does.
  WriteOutcome write_file(std::string_view name, std::string_view bytes, IoError& error) const;
  /// Opens the file `name` to be locked, created when missing; only for reading where it may not be
  /// written. What is no file of this folder alone is refused and stays: whoever holds it as the
  /// lock would no longer be found.
  SystemFile open_lock(std::string_view name, IoError& error) const;
  /// A value that changes when the contents of the file `name` are replaced (0: it does not exist).
  /// It is made of the time of the last modification, in the file system's resolution, the size and
  /// the identity of the file, and of nothing else.
  [[nodiscard]] std::uint64_t stamp_of(std::string_view name) const;

 protected:
  /// The path of an entry as error texts begin with it.
  [[nodiscard]] std::string label(std::string_view name) const;

 private:
  /// Opens a regular file; for writing one that is known under this name alone. `is_foreign` tells
  /// that neither such a file nor a folder stands there.
  virtual SystemFile open_entry(std::string_view name, OpenHow how, bool& is_foreign,
                                IoError& error) const = 0;
  /// Time of the last modification, size and identity; nothing where the entry does not exist.
  [[nodiscard]] virtual std::vector<std::uint64_t> stamp_values(std::string_view name) const = 0;

  /// The same, once what is foreign is removed; `is_new` tells that it was.
  SystemFile open_own(std::string_view name, OpenHow how, bool& is_new, IoError& error) const;
};

}  // namespace zendro::framework
