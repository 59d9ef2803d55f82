#include "store/session.h"

#include "console/exit_status.h"

namespace zendro::store {

Session::Session(const Arguments& arguments)
    : arguments_(arguments), output_(arguments), interrupts_([this] { stop_.request_stop(); }) {}

int Session::fail(const framework::IoError& error) {
  if (stop_.stop_requested()) return console::kInterrupted;
  output_.error(error.text);
  return console::kFailed;
}

}  // namespace zendro::store
