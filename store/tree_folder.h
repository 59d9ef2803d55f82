// A published tree as it is written: files below a folder, whole or not at all.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "framework/io/digest.h"
#include "framework/io/hashed_copy.h"
#include "framework/io/io.h"
#include "framework/system/folder.h"

namespace zendro::store {

/// Paths are relative, "/" between components, each a plain name; no link below the folder is
/// followed. Used by one thread at a time.
class TreeFolder {
 public:
  /// Opens a folder, which is created where it is missing.
  static framework::Result<TreeFolder> open(const std::filesystem::path& path);

  /// Whether a file stands there and has this digest.
  [[nodiscard]] bool has(const std::string& path, const framework::Sha256Digest& digest);
  /// The file's bytes; empty where it is missing, too large or cannot be read.
  [[nodiscard]] std::string read(const std::string& path, std::uint64_t limit);
  /// Writes a file anew, in the place of one that is there.
  [[nodiscard]] framework::Result<void> write(const std::string& path, std::string_view bytes);
  /// The same with what a stream has up to its end; fails, leaving what was there, where it has
  /// another digest.
  [[nodiscard]] framework::Result<void> copy(const std::string& path,
                                             framework::IOImpl_base& source,
                                             const framework::Sha256Digest& digest);
  /// No failure where it is missing.
  [[nodiscard]] framework::Result<void> remove(const std::string& path);

 private:
  explicit TreeFolder(std::unique_ptr<framework::Folder> root) : root_(std::move(root)) {}
  framework::Result<const framework::Folder*> folder_of(std::string_view path, bool is_created);

  std::unique_ptr<framework::Folder> root_;
  // The folder that was opened last: files come folder by folder.
  std::string opened_path_;
  std::unique_ptr<framework::Folder> opened_;
  framework::HashedCopy copy_;
};

}  // namespace zendro::store
