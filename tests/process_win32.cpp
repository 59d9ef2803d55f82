#include <array>

#include <windows.h>
#include <gtest/gtest.h>

#include "framework/system/files.h"
#include "framework/text/utf8.h"
#include "tests/process.h"
#include "tests/temp_folder.h"
#include "tests/whole_file.h"

namespace zendro::tests {
namespace {

// As CommandLineToArgvW reads it; no argument of a test ends with a backslash.
std::wstring quoted(const std::string& argument) {
  std::wstring text = L"\"";
  for (const wchar_t c : framework::to_wide(argument)) {
    if (c == L'"') text += L'\\';
    text += c;
  }
  return text + L'"';
}

HANDLE open_stream(const std::filesystem::path& path, DWORD access, DWORD how) {
  SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
  return CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, how,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

std::filesystem::path built_program(const std::string& name) {
  return framework::executable_path().parent_path() / (name + ".exe");
}

ProcessOutcome run_process(const std::filesystem::path& program,
                           const std::vector<std::string>& arguments) {
  const TempFolder folder;
  const std::filesystem::path out = folder / "out";
  const std::filesystem::path err = folder / "err";
  const std::array streams = {open_stream("NUL", GENERIC_READ, OPEN_EXISTING),
                              open_stream(out, GENERIC_WRITE, CREATE_ALWAYS),
                              open_stream(err, GENERIC_WRITE, CREATE_ALWAYS)};
  std::wstring line = quoted(framework::path_to_utf8(program));
  for (const std::string& argument : arguments) line += L' ' + quoted(argument);
  STARTUPINFOW start = {};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = streams[0];
  start.hStdOutput = streams[1];
  start.hStdError = streams[2];
  PROCESS_INFORMATION process = {};
  DWORD status = static_cast<DWORD>(-1);
  const auto is_started = [&] {
    return CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                          &start, &process) != 0;
  };
  // Wine fails to start one now and then.
  bool is_running = is_started();
  for (int tries = 1; !is_running && tries < 5; ++tries) {
    Sleep(200);
    is_running = is_started();
  }
  EXPECT_TRUE(is_running) << "not started: error " << GetLastError();
  if (is_running) {
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &status);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
  }
  for (const HANDLE stream : streams) CloseHandle(stream);
  return {static_cast<int>(status), contents(out), contents(err)};
}

}  // namespace zendro::tests
