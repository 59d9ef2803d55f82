// Programs on a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/process.h"

namespace zendro::tests {

/// A program on a terminal of its own.
class Terminal {
 public:
  Terminal(const char* name, const std::vector<std::string>& arguments, bool as_nobody = false) {
    const std::string program = built_program(name).string();
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    winsize size = {24, 80, 0, 0};
    child_ = forkpty(&terminal_, nullptr, nullptr, &size);
    if (child_ == 0) {
      constexpr uid_t nobody = 65534;
      if (as_nobody && geteuid() == 0 && setuid(nobody) != 0) _exit(126);
      execv(program.c_str(), words.data());
      _exit(127);
    }
  }
  ~Terminal() { close(terminal_); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void type(std::string_view text) {
    EXPECT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  /// Reads until the text has been written, or to the end; all that was written so far.
  const std::string& read_until(std::string_view text) {
    char block[4096];
    ssize_t count = 0;
    while (seen_.find(text) == std::string::npos &&
           (count = read(terminal_, block, sizeof block)) > 0) {
      seen_.append(block, static_cast<std::size_t>(count));
    }
    return seen_;
  }
  int end() {
    read_until("no program writes this");
    int status = -1;
    waitpid(child_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  int terminal_ = -1;
  pid_t child_ = -1;
  std::string seen_;
};

}  // namespace zendro::tests
