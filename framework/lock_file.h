// A lock between processes (and between threads of one), held through a file.
#pragma once

#include <filesystem>
#include <memory>

#include "framework/io.h"

namespace zendro::framework {

class LockFile {
 public:
  /// Waits until no other holder is left and takes the lock. The file is created when it is missing
  /// and stays. Null, with the cause in `error`, when the file cannot be created or opened. The
  /// lock ends with the object, also when the process is killed.
  static std::unique_ptr<LockFile> acquire(const std::filesystem::path& path, IoError& error);
  virtual ~LockFile() = default;
};

}  // namespace zendro::framework
