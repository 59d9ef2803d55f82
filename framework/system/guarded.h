// Work that must not throw, whatever it does.
#pragma once

#include <exception>
#include <string>

#include "framework/system/system_error.h"

namespace zendro::framework {

/// Runs `work`. What it throws ends there; `report` receives the text of it, in UTF-8.
template <typename Work, typename Report>
void guarded(const Work& work, const Report& report) {
  std::string failure = "Unknown failure";
  try {
    work();
    return;
  } catch (const std::exception& exception) {
    failure = exception_text(exception);
  } catch (...) {  // NOLINT(bugprone-empty-catch): the text above tells all that is known
  }
  report(failure);
}

}  // namespace zendro::framework
