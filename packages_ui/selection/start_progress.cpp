#include "packages_ui/selection/start_progress.h"

#include <algorithm>

#include "packages_ui/selection/progress_text.h"
#include "packages_ui/selection/shown_text.h"
#include "packages_ui/selection/ui_messages.h"

namespace zendro::packages_ui {

std::wstring start_text(const StartProgress& start) {
  return start.progress ? start.doing : ui_message(UiCode::PackageUIWaiting);
}

std::wstring details_text(const StartProgress& start) {
  if (start.waiting) return waiting_text(*start.waiting);
  return progress_text(start.progress.value_or(pkg::progress_t()));
}

std::optional<double> done_part(const StartProgress& start) {
  if (!start.progress) return std::nullopt;
  const pkg::progress_t& progress = *start.progress;
  const bool sized = progress.bytes.value_or(0) > 0;
  if (progress.members == 0 && !sized) return std::nullopt;

  double done = static_cast<double>(progress.members_done);
  if (sized)
    done += static_cast<double>(progress.bytes_done) / static_cast<double>(*progress.bytes);
  // A transfer alone counts as one member.
  const double all = static_cast<double>(std::max<std::uint64_t>(progress.members, 1));
  return std::min(done / all, 1.0);
}

}  // namespace zendro::packages_ui
