// The command-line program on a terminal: its question, its progress, and Ctrl+C.
#include <csignal>

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/cli_fixture.h"

namespace zendro::tests {
namespace {

using testing::HasSubstr;
using testing::Not;

// A program on a terminal of its own.
class Terminal {
 public:
  explicit Terminal(const std::vector<std::string>& arguments, bool as_nobody = false) {
    const std::string program = built_program("zendro").string();
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

TEST_F(CliTest, ATerminalIsAsked) {
  start_with({package_of_one_member("base-1.0.0")});
  struct Answer {
    const char* typed;
    int status;
    const char* said;
  };
  for (const Answer& answer :
       {Answer{"n\n", 4, "Nothing was changed."}, Answer{"\n", 4, "Nothing was changed."},
        Answer{"\x03", 130, "Interrupted. Nothing was changed."}, Answer{"y\n", 0, "Install "}}) {
    Terminal terminal({"install", "base"});
    EXPECT_THAT(terminal.read_until("[y/N]"), HasSubstr("base-1.0.0  (asked for)"));
    EXPECT_FALSE(std::filesystem::exists(package_folder("base-1.0.0")));
    terminal.type(answer.typed);
    EXPECT_EQ(terminal.end(), answer.status) << answer.typed;
    EXPECT_THAT(terminal.read_until(" "), HasSubstr(answer.said));
  }
  EXPECT_THAT(installed(), testing::ElementsAre("base-1.0.0"));
}

TEST_F(CliTest, CtrlCLeavesWhatTheNextRunCanUse) {
  const std::string bytes(300'000, 'x');
  start_with({{"big-1.0.0", {{"a.zip", "a"}, {"b.zip", bytes}}}});
  server_.set_fault("/store/b.zip", demo::Fault::dribble(std::chrono::milliseconds(1)));
  Terminal terminal({"-y", "install", "big"});
  EXPECT_THAT(terminal.read_until("] 1/2"), HasSubstr("\x1b[1m")) << "colours";
  terminal.type("\x03");
  EXPECT_EQ(terminal.end(), 130);
  EXPECT_THAT(terminal.read_until(" "), HasSubstr("Interrupted. The lists are as they were."));
  EXPECT_THAT(terminal.read_until(" "), Not(HasSubstr("error: ")));
  EXPECT_FALSE(std::filesystem::exists(cache_file("pkgs-installed.json")));

  server_.set_fault("/store/b.zip", {});
  take_requests();
  const ProcessOutcome again = zendro({"-y", "install", "big"});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.err.find('\x1b'), std::string::npos) << "no rubbish in a log";
  EXPECT_EQ(server_.request_count("/store/a.zip"), 1u);
  EXPECT_EQ(file_text(package_folder("big-1.0.0") / "b.zip"), bytes);
}

TEST_F(CliTest, CompletionKnowsCommandsOptionsAndPackages) {
  start_with({package_of_one_member("base-1.0.0"), package_of_one_member("bass-1.0.0"),
              package_of_one_member("ba$(echo>evil)-1.0.0")});
  for (const char* shell : {"zsh", "fish", "powershell"}) {
    EXPECT_THAT(zendro({"completion", shell}).out,
                testing::AllOf(HasSubstr("uninstall"), HasSubstr("keep-references")));
  }
  write_text(folder_ / "script",
             zendro({"completion", "bash"}).out +
                 "for words in 'un' 'install --lo' 'install ba'; do\n"
                 "  COMP_WORDS=(zendro $words) COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                 "  _zendro; echo \"${COMPREPLY[@]}\"\n"
                 "done\n");
  const std::string path = built_program("").string() + ":" + getenv("PATH");
  const ProcessOutcome outcome =
      run_process("/usr/bin/env", {"PATH=" + path, "bash", (folder_ / "script").string()});
  EXPECT_EQ(outcome.out, "uninstall\n--locked\nbase bass\n") << outcome.err;
}

TEST_F(CliTest, AResultThatIsLostIsAFailure) {
  const std::string program = built_program("zendro").string();
  const ProcessOutcome outcome = run_process("/bin/sh", {"-c", program + " env > /dev/full"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("cannot be written"));
}

TEST_F(CliTest, WhoMayNotWriteIsToldWhere) {
  start_with({package_of_one_member("base-1.0.0")});
  std::filesystem::permissions(cache_file(""), std::filesystem::perms::owner_read |
                                                   std::filesystem::perms::owner_exec |
                                                   std::filesystem::perms::others_read |
                                                   std::filesystem::perms::others_exec);
  for (const char* word : {"install", "uninstall"}) {
    Terminal terminal({"-y", word, "base"}, true);
    EXPECT_EQ(terminal.end(), 1);
    EXPECT_THAT(plain(terminal.read_until(" ")),
                testing::AllOf(HasSubstr("You may not write to $/pkgs/.xsd_cache."),
                               HasSubstr("sudo"), HasSubstr("--root")));
  }
  std::filesystem::permissions(cache_file(""), std::filesystem::perms::owner_all);
}

}  // namespace
}  // namespace zendro::tests
