// Writing zip archives through libzip.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <tl/expected.hpp>

#include "framework/io/io.h"

namespace zendro::framework {

/// A member: bytes, or a file of the disk.
struct ZipEntry {
  std::string name;
  std::string bytes;
  std::string file;  ///< its path in UTF-8; empty: the bytes above
};

/// Writes an archive of the entries, in their order, to a file of the disk. A file that is there is
/// replaced when the new one is whole. The entries outlive the call.
tl::expected<void, IoError> write_zip(std::string_view path, const std::vector<ZipEntry>& entries);

}  // namespace zendro::framework
