// Reading members of zip archives through libzip.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/io.h"

namespace zendro::framework {

/// What one byte of an archive unpacks to at most, by the format of deflate (RFC 1951): 258 bytes
/// from two bits.
inline constexpr std::uint64_t kMostUnpacked = 1032;

/// What the directory of an archive says of a member.
struct ArchiveEntry {
  std::string name;         ///< UTF-8; that of a folder ends with "/"
  bool is_special = false;  ///< it stands for a link, a pipe or the like
};

/// An open archive: its directory is read once, whatever the number of members that are opened.
/// The archive, its members and the stream below them are used by one thread at a time; the
/// members stay readable after the archive object has gone.
class ZipArchive {
 public:
  /// Opens the archive that `stream` (seekable, read from its beginning, used by nobody else
  /// meanwhile) holds. It may have 65,535 members. `label` names the archive in error texts.
  static Result<std::unique_ptr<ZipArchive>> open(std::shared_ptr<IOImpl_base> stream,
                                                  std::string_view label);
  virtual ~ZipArchive() = default;

  /// Opens the member `name`, the first of that name; a name that the archive does not hold is
  /// tried once more percent-decoded. The stream unpacks as it is read; a wrong CRC shows as a
  /// failed read at the end, so what was read counts only once 0 has been returned. Its size() is
  /// what the archive claims. Seeking back unpacks from the beginning again. It fails also for a
  /// folder, for an encrypted member, and for any compression but deflate. No byte of the archive
  /// is read for two members: it fails for the second one.
  virtual OpenedStream open_member(std::string_view name) = 0;

  /// All members in the order of the directory, which may name one twice.
  [[nodiscard]] virtual std::vector<ArchiveEntry> entries() const = 0;
  /// Opens the member at a place of entries(), as open_member() does.
  virtual OpenedStream open_entry(std::size_t place) = 0;
};

/// Opens one member of an archive, see ZipArchive.
OpenedStream open_zip_member(std::shared_ptr<IOImpl_base> archive, std::string_view name,
                             std::string_view label);

}  // namespace zendro::framework
