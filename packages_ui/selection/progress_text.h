// How far an operation is, in words.
#pragma once

#include <string>

#include "pkg/progress.h"

namespace zendro::packages_ui {

/// "3 of 12 files, 4.2 of 8.9 MB": the members of the operation and, while a transfer is under way,
/// its bytes, with its size where that is known. What is not known is left out; empty where nothing
/// is. Units are decimal (IEC 80000-13: 1 kB is 1,000 bytes).
std::wstring progress_text(const pkg::progress_t& progress);

}  // namespace zendro::packages_ui
