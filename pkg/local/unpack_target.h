// Where the files of a package are unpacked to.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/io/io.h"
#include "framework/system/folder.h"

namespace zendro::pkg::local {

/// Takes files and folders by their relative paths, with "/" between components, each of which may
/// be the name of a file or folder.
class unpack_target {
 public:
  virtual ~unpack_target() = default;
  /// Makes a folder with those above it; no failure when it exists already.
  virtual framework::Result<void> add_folder(std::string_view path) = 0;
  /// Creates a file, with the folders above it, for writing; refused where something stands.
  virtual framework::OpenedStream add_file(std::string_view path) = 0;
};

/// A folder of the disk. No link in it is followed.
class folder_target : public unpack_target {
 public:
  /// The folder outlives it.
  explicit folder_target(const framework::Folder& folder) : folder_(folder) {}

  framework::Result<void> add_folder(std::string_view path) override;
  framework::OpenedStream add_file(std::string_view path) override;

 private:
  framework::Result<const framework::Folder*> folder_of(std::string_view path);

  const framework::Folder& folder_;
  /// The folders on the way to the last file, by their names.
  std::vector<std::pair<std::string, std::unique_ptr<framework::Folder>>> open_;
};

}  // namespace zendro::pkg::local
