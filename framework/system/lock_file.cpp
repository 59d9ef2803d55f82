#include "framework/system/lock_file.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>

#include "framework/system/files.h"

namespace zendro::framework {
namespace {

using Clock = std::chrono::steady_clock;

// Between two attempts: short enough that nobody notices.
constexpr std::chrono::milliseconds kPause(50);

}  // namespace

TakenLock LockFile::acquire(const Folder& folder, std::string_view name, std::string_view note,
                            const LockWait& wait) {
  Result<SystemFile> file = folder.open_lock(name);
  if (!file) return tl::unexpected(NoLock{file.error()});
  std::unique_ptr<LockFile> lock(new LockFile(std::move(*file)));
  const std::string label = path_to_utf8(folder.path() / path_from_utf8(name));
  const Clock::time_point told_at = Clock::now() + kLongWait;
  bool told = !wait.on_long_wait;
  std::mutex nothing;
  std::condition_variable_any stopped;
  std::unique_lock pause(nothing);
  for (;;) {
    const Result<bool> taken = lock->try_lock(label);
    if (!taken) return tl::unexpected(NoLock{taken.error()});
    if (*taken) break;
    if (!told && Clock::now() >= told_at) {
      told = true;
      wait.on_long_wait(lock->read_note());
    }
    stopped.wait_for(pause, wait.stop, kPause, [] { return false; });
    if (wait.stop.stop_requested()) return tl::unexpected(NoLock());
  }
  lock->leave_note(note);
  return lock;
}

LockFile::~LockFile() {
  if (has_note_) file_.set_length(0);
}

std::string LockFile::read_note() {
  std::string note(kNoteLimit, '\0');
  const bool readable = file_.seek(0, SeekOrigin::begin) == 0;
  const std::int64_t size = readable ? file_.read(note.data(), note.size()) : -1;
  note.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return note;
}

// Others wait all the same where it cannot be written.
void LockFile::leave_note(std::string_view note) {
  has_note_ = file_.seek(0, SeekOrigin::begin) == 0 && file_.set_length(0) && file_.write(note);
}

}  // namespace zendro::framework
