#include <algorithm>
#include <bit>
#include <cstddef>

#include <windows.h>
#include <lmcons.h>

#include "framework/system/this_process.h"
#include "framework/text/utf8.h"

namespace zendro::framework {

std::int64_t process_id() { return GetCurrentProcessId(); }

std::string user_name() {
  wchar_t name[UNLEN + 1];
  DWORD size = UNLEN + 1;
  if (GetUserNameW(name, &size) == 0) return {};
  return to_utf8({name, size - 1});  // the size counts the end of the text
}

std::string environment_value(const char* name) {
  const std::wstring wide_name = to_wide(name);
  std::wstring value;
  for (DWORD needed = MAX_PATH; needed > value.size();) {
    value.resize(needed);
    needed = GetEnvironmentVariableW(wide_name.c_str(), value.data(), needed);
    if (needed < value.size()) {
      value.resize(needed);
      break;
    }
  }
  return to_utf8(value);
}

std::size_t processor_count() {
  DWORD_PTR allowed = 0;
  DWORD_PTR present = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &allowed, &present) == 0) return 1;
  // More than 64 processors make several groups, of which the process is told nothing here.
  return static_cast<std::size_t>(std::max(1, std::popcount(allowed)));
}

}  // namespace zendro::framework
