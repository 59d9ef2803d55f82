// Whether the mark of read-only files counts for anything.
#pragma once

#include <filesystem>

#include <windows.h>

#include "framework/system/handle_win32.h"
#include "tests/links.h"

namespace zendro::tests {

/// Whether a file that is marked as read-only can be written all the same: under Wine, run by root.
inline bool writes_read_only_files(const std::filesystem::path& path) {
  return is_wine() &&
         framework::Handle(CreateFileW(path.c_str(), GENERIC_WRITE, framework::kShareAll, nullptr,
                                       OPEN_EXISTING, 0, nullptr));
}

}  // namespace zendro::tests
