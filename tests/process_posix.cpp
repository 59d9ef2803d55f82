#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "framework/system/files.h"
#include "tests/process.h"
#include "tests/temp_folder.h"
#include "tests/whole_file.h"

namespace zendro::tests {

std::filesystem::path built_program(const std::string& name) {
  return framework::executable_path().parent_path() / name;
}

ProcessOutcome run_process(const std::filesystem::path& program,
                           const std::vector<std::string>& arguments) {
  const TempFolder folder;
  const std::filesystem::path files[] = {"/dev/null", folder / "out", folder / "err"};
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments)
    words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    for (int stream = 0; stream < 3; ++stream) {
      const int flags = stream == 0 ? O_RDONLY : O_WRONLY | O_CREAT;
      dup2(open(files[stream].c_str(), flags, 0600), stream);
    }
    execv(program.c_str(), words.data());
    _exit(127);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), contents(files[1]),
          contents(files[2])};
}

}  // namespace zendro::tests
