// What a package brings to the folder in which other programs find its files.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/io/digest.h"
#include "framework/io/io.h"
#include "framework/system/folder.h"

namespace zendro::pkg::local {

struct member_t {
  std::string_view path;  ///< as the package names it
  std::string file;       ///< the name of its local file
  framework::Sha256Digest digest{};
};

enum class key_kind { location, prefix, public_id, name_space };

/// A name that the package has a file for, or a prefix of names with a folder.
struct key_t {
  key_kind kind;
  std::string_view key;
  std::string_view member_path;  ///< "|zip" marks an archive in it
};

/// Views texts that outlive it.
struct package_t {
  std::string identity;
  std::vector<member_t> members;
  std::vector<key_t> keys;
  /// Opens the folder with the local files.
  std::function<framework::Result<std::unique_ptr<framework::Folder>>()> open;
};

}  // namespace zendro::pkg::local
