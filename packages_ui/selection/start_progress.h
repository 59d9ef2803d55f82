// How far the work is that comes before the window of the program.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "pkg/operation_turn.h"
#include "pkg/progress.h"

namespace zendro::packages_ui {

struct StartProgress {
  std::wstring doing;                          ///< the step under way, in words
  std::optional<pkg::progress_t> progress;     ///< of the step; nothing until its turn has come
  std::optional<pkg::waiting_t> waiting = {};  ///< which program it waits for, after a second
};

/// Receives the progress of the work, on the thread of the work, often.
using ShowStart = std::function<void(const StartProgress&)>;

/// What is being done: the step, or that it waits for its turn.
std::wstring start_text(const StartProgress& start);
/// How far the step is, or which program it waits for; empty if neither is known.
std::wstring details_text(const StartProgress& start);
/// How much of the step is done, from 0 to 1; nullopt if that is not known.
std::optional<double> done_part(const StartProgress& start);

}  // namespace zendro::packages_ui
