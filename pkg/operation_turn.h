// The turn of an operation: on a cache root one operation runs at a time, also between processes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "framework/system/lock_file.h"

namespace zendro::pkg {

/// The operation that another one waits for, as the lock file describes it. Other users can write
/// that file, so none of this is certain.
struct waiting_t {
  std::int64_t process = 0;  ///< its number; 0: nothing is known of the other one
  std::string user;          ///< that the process runs for; may be empty
  std::int64_t since = 0;    ///< when its turn began, else when the wait did; seconds since 1970
};

/// Called when an operation has waited for a second, and with nothing when that wait is over. On
/// the thread of the operation.
using wait_sink = std::function<void(const std::optional<waiting_t>&)>;

/// The note that an operation of this process leaves in the lock file while it holds the lock.
std::string holder_note();
/// Reads such a note; nothing where the text is none.
std::optional<waiting_t> read_holder_note(std::string_view note);

class operation_turn {
 public:
  /// Waits until no other operation has the lock file `name`. It fails when that was given up, and
  /// when there can be no lock. The turn ends with the result.
  framework::TakenLock take(const framework::Folder& folder, std::string_view name,
                            const wait_sink& sink);
  /// The same where no other operation has it; given up at once otherwise.
  static framework::TakenLock take_at_once(const framework::Folder& folder, std::string_view name);
  /// Gives the wait up. False, without effect, when none is under way: an operation whose turn has
  /// come goes on to its end. After true no turn is taken any more. Thread-safe.
  bool give_up();

 private:
  std::mutex mutex_;
  bool waiting_ = false;  ///< guarded by mutex_
  std::stop_source given_up_;
};

}  // namespace zendro::pkg
