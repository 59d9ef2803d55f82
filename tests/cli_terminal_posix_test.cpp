// The command-line program on a terminal: its question, its progress, and Ctrl+C.
#include <csignal>
#include <regex>

#include "tests/cli_fixture.h"
#include "tests/terminal_posix.h"

namespace zendro::tests {
namespace {

using testing::HasSubstr;
using testing::Not;

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
    Terminal terminal("zendro", {"install", "base"});
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
  server_.set_fault("/store/b.zip", loopback::Fault::dribble(std::chrono::milliseconds(1)));
  Terminal terminal("zendro", {"-y", "install", "big"});
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
  for (const char* shell : {"zsh", "fish"}) {
    EXPECT_THAT(zendro({"completion", shell}).out,
                testing::AllOf(HasSubstr("uninstall"), HasSubstr("keep-references")));
  }
  const std::string bash = zendro({"completion", "bash"}).out;
  const std::string powershell = zendro({"completion", "powershell"}).out;
  const std::regex row(R"(('.*')\) options=('.*') ;;)");
  const std::sregex_iterator rows(bash.begin(), bash.end(), row), end;
  EXPECT_GT(std::distance(rows, end), 10);
  for (auto each = rows; each != end; ++each) {
    EXPECT_THAT(powershell, HasSubstr("    " + each->format("$1 = $2") + "\n"));
  }
  write_text(folder_ / "script",
             bash +
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
    Terminal terminal("zendro", {"-y", word, "base"}, true);
    EXPECT_EQ(terminal.end(), 1);
    EXPECT_THAT(plain(terminal.read_until(" ")),
                testing::AllOf(HasSubstr("You may not write to $/pkgs/.xsd_cache."),
                               HasSubstr("sudo"), HasSubstr("--root")));
  }
  std::filesystem::permissions(cache_file(""), std::filesystem::perms::owner_all);
}

}  // namespace
}  // namespace zendro::tests
