// A lock between processes (and between threads of one), held through a file.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <utility>

#include "framework/io/io.h"
#include "framework/system/folder.h"
#include "framework/system/system_file.h"

namespace zendro::framework {

/// How somebody waits for a lock that another has.
struct LockWait {
  std::stop_token stop;  ///< ends the wait; one that is stopped already makes a single attempt
  /// Called once, when the wait has lasted for LockFile::kLongWait, with the note that is in the
  /// file. It may be empty, and anybody may have written it.
  std::function<void(std::string_view note)> on_long_wait;
};

/// Why a lock was not taken.
struct NoLock {
  /// Empty where the wait was stopped.
  IoError cause;
  [[nodiscard]] bool was_stopped() const { return !cause; }
};

class LockFile;
using TakenLock = tl::expected<std::unique_ptr<LockFile>, NoLock>;

class LockFile {
 public:
  static constexpr std::chrono::seconds kLongWait{1};
  /// No more of a note is read, in bytes.
  static constexpr std::size_t kNoteLimit = 1024;

  /// Takes the lock, waiting for other holders, and leaves the note in the file for as long as it
  /// is held, where the file may be written. The file `name` is created when it is missing and
  /// stays. It fails when the wait was stopped, and when the file cannot be opened (see
  /// Folder::open_lock) or locked. The lock ends with the object, also when the process is killed.
  static TakenLock acquire(const Folder& folder, std::string_view name, std::string_view note,
                           const LockWait& wait);
  LockFile(const LockFile&) = delete;
  LockFile& operator=(const LockFile&) = delete;
  ~LockFile();

 private:
  explicit LockFile(SystemFile file) : file_(std::move(file)) {}
  // Supplied by the operating system. The lock belongs to the open file, not to the process, so
  // it also holds between threads; closing the file ends it. False while another holds it.
  Result<bool> try_lock(std::string_view label);

  std::string read_note();
  void leave_note(std::string_view note);

  SystemFile file_;
  bool has_note_ = false;
};

}  // namespace zendro::framework
