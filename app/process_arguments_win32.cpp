#include <cstdlib>
#include <memory>
#include <system_error>

#include <objbase.h>  // for the macros that the next one needs
#include <windows.h>
#include <shellapi.h>

#include "app/process_arguments.h"
#include "framework/text/utf8.h"

namespace zendro::app {

std::vector<std::string> process_arguments() {
  return process_arguments(__argc, __wargv, GetCommandLineW());
}

std::vector<std::string> process_arguments(int count, const wchar_t* const* vector,
                                           const wchar_t* command_line) {
  std::unique_ptr<wchar_t*, decltype(&LocalFree)> split(nullptr, LocalFree);
  if (count <= 0 || vector == nullptr || *vector[0] == L'\0') {
    split.reset(CommandLineToArgvW(command_line, &count));
    if (!split) {
      throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                              "The command line cannot be split");
    }
    vector = split.get();
  }
  std::vector<std::string> arguments;
  for (int index = 0; index < count; ++index)
    arguments.push_back(framework::to_utf8(vector[index]));
  return arguments;
}

}  // namespace zendro::app
