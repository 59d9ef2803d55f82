#include "pkg/operation_turn.h"

#include <ctime>

#include "framework/system/this_process.h"
#include "framework/text/json.h"

namespace zendro::pkg {
namespace {

namespace json = framework::json;

constexpr std::string_view kProcess = "process";
constexpr std::string_view kUser = "user";
constexpr std::string_view kSince = "since";

std::int64_t now() { return static_cast<std::int64_t>(std::time(nullptr)); }

}  // namespace

std::string holder_note() {
  std::string note;
  framework::JsonWriter(note).append(json::object{
      {kProcess, framework::process_id()}, {kUser, framework::user_name()}, {kSince, now()}});
  return note;
}

std::optional<waiting_t> read_holder_note(std::string_view note) {
  const framework::ParsedJson document = framework::parse_json(note);
  if (!document) return std::nullopt;
  try {
    const json::object& holder = framework::as_map(*document);
    return waiting_t{framework::as_integer(holder.at(kProcess)),
                     std::string(framework::as_string(holder.at(kUser))),
                     framework::as_integer(holder.at(kSince))};
  } catch (const std::exception&) {
    return std::nullopt;  // something else stands there
  }
}

framework::TakenLock operation_turn::take(const framework::Folder& folder, std::string_view name,
                                          const wait_sink& sink) {
  {
    const std::lock_guard lock(mutex_);
    if (given_up_.stop_requested()) return tl::unexpected(framework::NoLock());
    waiting_ = true;
  }
  framework::LockWait wait{given_up_.get_token(), {}};
  bool told = false;
  if (sink) {
    wait.on_long_wait = [&, began = now()](std::string_view note) {
      told = true;
      sink(read_holder_note(note).value_or(waiting_t{0, {}, began}));
    };
  }
  framework::TakenLock turn = framework::LockFile::acquire(folder, name, holder_note(), wait);
  {
    const std::lock_guard lock(mutex_);
    waiting_ = false;
    // The lock may have come at the same time.
    if (turn && given_up_.stop_requested()) turn = tl::unexpected(framework::NoLock());
  }
  if (told) sink(std::nullopt);
  return turn;
}

framework::TakenLock operation_turn::take_at_once(const framework::Folder& folder,
                                                  std::string_view name) {
  std::stop_source stopped;
  stopped.request_stop();
  return framework::LockFile::acquire(folder, name, holder_note(), {stopped.get_token(), {}});
}

bool operation_turn::give_up() {
  const std::lock_guard lock(mutex_);
  if (!waiting_) return given_up_.stop_requested();
  given_up_.request_stop();
  return true;
}

}  // namespace zendro::pkg
