// An open folder whose entries are reached without ever following a link.
//
// Every name given to it is one path component; any other is refused. Links (also junctions) are
// refused when opened and removed as themselves when deleted, so nothing outside the folder is ever
// read, written or deleted through it, whatever another program puts there meanwhile.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io.h"

namespace zendro::framework {

/// Whether `name` can be the name of one file or folder on every platform: not empty, "." or "..",
/// without separators, colon, control characters and other characters that Windows refuses, no
/// reserved device name, no trailing dot or blank; valid UTF-8 of at most 255 bytes.
bool is_plain_name(std::string_view name);

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
  /// Opens the regular file `name`.
  virtual std::shared_ptr<IOImpl_base> open_file(std::string_view name, IoError& error) const = 0;
  /// Creates or truncates the regular file `name` for writing. A file that is known under a second
  /// name elsewhere (a hard link) is replaced by a new one, so that the other stays as it is.
  virtual std::shared_ptr<IOImpl_base> create_file(std::string_view name, IoError& error) const = 0;
  /// Gives the file `name` another name, in the place of a file that has it already.
  virtual bool rename_file(std::string_view name, std::string_view new_name,
                           IoError& error) const = 0;
  /// Removes a file, or a link as itself.
  virtual bool remove_file(std::string_view name, IoError& error) const = 0;
  /// Removes an empty folder.
  virtual bool remove_folder(std::string_view name, IoError& error) const = 0;
};

}  // namespace zendro::framework
