// The lock of a file by its path.
#pragma once

#include <filesystem>
#include <memory>

#include "framework/system/files.h"
#include "framework/system/lock_file.h"

namespace zendro::tests {

/// Without a note and however long it takes unless these are given.
inline std::unique_ptr<framework::LockFile> lock_at(const std::filesystem::path& path,
                                                    framework::IoError& error,
                                                    std::string_view note = {},
                                                    const framework::LockWait& wait = {}) {
  const auto folder = framework::Folder::open(path.parent_path(), error);
  if (!folder) return nullptr;
  return framework::LockFile::acquire(*folder, framework::path_to_utf8(path.filename()), note, wait,
                                      error);
}

}  // namespace zendro::tests
