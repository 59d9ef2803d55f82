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

}  // namespace zendro::framework
