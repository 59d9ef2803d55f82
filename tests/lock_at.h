// The lock of a file by its path.
#pragma once

#include <filesystem>
#include <string>

#include "framework/system/files.h"
#include "framework/system/lock_file.h"

namespace zendro::tests {

/// Without a note and however long it takes unless these are given.
inline framework::TakenLock lock_at(const std::filesystem::path& path, std::string_view note = {},
                                    const framework::LockWait& wait = {}) {
  const auto folder = framework::Folder::open(path.parent_path());
  if (!folder) return tl::unexpected(framework::NoLock{folder.error()});
  return framework::LockFile::acquire(**folder, framework::path_to_utf8(path.filename()), note,
                                      wait);
}

/// Empty where it has been taken, or the wait for it was stopped.
inline std::string cause_of(const framework::TakenLock& lock) {
  return lock ? std::string() : lock.error().cause.text;
}

}  // namespace zendro::tests
