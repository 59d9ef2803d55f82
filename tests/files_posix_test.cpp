// Files of POSIX systems: pipes, limits on sizes, full disks, users and their rights.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "framework/system/files.h"
#include "tests/lock_at.h"
#include "tests/temp_folder.h"
#include "tests/whole_file.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;
using tests::cause_of;
using tests::contents;
using tests::kNoLimit;
using tests::lock_at;
using tests::TempFolder;
using tests::was_not_opened;

TEST(FilesTest, APipeIsNoFileAndNeverWaitedFor) {
  const TempFolder folder;
  const fs::path pipe = folder / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  EXPECT_THAT(cause_of(read_file(pipe, kNoLimit)), StartsWith(pipe.string() + ": "));
  EXPECT_TRUE(was_not_opened(write_file(pipe, "new")));
  EXPECT_FALSE(file_exists(pipe));
  // With a reader the pipe itself can be opened; it is still no file.
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
  const WriteResult written = write_file(pipe, "new");
  EXPECT_TRUE(was_not_opened(written));
  EXPECT_THAT(cause_of(written), HasSubstr("not a regular file"));
  char byte = 0;
  EXPECT_EQ(read(reader, &byte, 1), 0);
  close(reader);
}

TEST(FilesTest, BeyondTheLimitOnSizesTheOldContentsStayAndTheProgramLives) {
  const TempFolder folder;
  const fs::path old = folder / "old";
  const std::string before(90000, 'o');
  ASSERT_EQ(cause_of(write_file(old, before)), "");
  const auto created = create_file(folder / "stream");
  ASSERT_TRUE(created) << cause_of(created);
  const auto& stream = *created;

  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const rlimit small{100000, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const std::string large(150000, 'n');
  const WriteResult replaced = write_file(old, large);
  const WriteResult added = write_file(folder / "new", large);
  const std::int64_t count = stream->write(large.data(), large.size());
  sigset_t pending;
  sigpending(&pending);
  const WriteResult up_to_it = write_file(folder / "fits", large.substr(0, 100000));
  setrlimit(RLIMIT_FSIZE, &usual);

  EXPECT_FALSE(was_not_opened(replaced));
  EXPECT_THAT(cause_of(replaced), StartsWith(old.string() + ": "));
  EXPECT_TRUE(contents(old) == before);
  EXPECT_FALSE(was_not_opened(added));
  EXPECT_NE(cause_of(added), "");
  EXPECT_FALSE(fs::exists(folder / "new"));
  EXPECT_EQ(count, -1);
  EXPECT_THAT(stream->error().text, StartsWith((folder / "stream").string() + ": "));
  EXPECT_EQ(sigismember(&pending, SIGXFSZ), 0);
  EXPECT_EQ(cause_of(up_to_it), "");
}

constexpr int kNoMount = 77;

// In a process of its own, whose mounts nobody else sees.
[[noreturn]] void fill_a_disk(const fs::path& folder) {
  const int uid = static_cast<int>(getuid());
  const bool own_mounts = unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
  if (!own_mounts || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=512k") != 0) {
    fprintf(stderr, "user %d may not mount\n", uid);
    _exit(kNoMount);
  }
  const auto check = [](bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "%s\n", what);
    _exit(1);
  };
  const auto holds = [](const fs::path& path, const std::string& expected) {
    return read_file(path, kNoLimit) == expected;
  };
  const std::string list(100000, 'o');
  check(write_file(folder / "list", list).has_value(), "list");
  check(write_file(folder / "other", std::string(300000, 'x')).has_value(), "other");
  const std::uintmax_t room = fs::space(folder).free;
  const WriteResult longer = write_file(folder / "list", std::string(250000, 'n'));
  check(!longer && longer.error().was_opened, "there was room");
  const std::string cause = cause_of(longer);
  check(cause.starts_with((folder / "list").string() + ": "), cause.c_str());
  check(holds(folder / "list", list), "the old contents are gone");
  const WriteResult added = write_file(folder / "new", std::string(250000, 'n'));
  check(!added && added.error().was_opened, "there was room for a new file");
  check(!fs::exists(folder / "new"), "a part of the new file stayed");
  check(fs::space(folder).free == room, "room was lost");

  // The last byte taken, what needs no more room is still written.
  check(write_file(folder / "rest", std::string(room, 'x')).has_value(), "rest");
  check(fs::space(folder).free == 0, "the disk is not full");
  check(write_file(folder / "list", std::string(99999, 's')).has_value(), "shorter contents");
  check(holds(folder / "list", std::string(99999, 's')), "other contents");
  _exit(0);
}

TEST(FilesTest, OnAFullDiskTheOldContentsStay) {
  const TempFolder folder;
  const pid_t child = fork();
  if (child == 0) fill_a_disk(folder.path());
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == kNoMount) GTEST_SKIP() << "no small disk may be mounted here";
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST(FilesTest, FileUrlsNameLocalPathsOnly) {
  EXPECT_EQ(path_from_file_url("file:///a%20b/%E2%82%AC%2fc%zz"), "/a b/\u20AC/c%zz");
  EXPECT_EQ(path_from_file_url("FILE://LocalHost/x"), "/x");
  EXPECT_EQ(path_from_file_url("file:/x"), "/x");
  for (const char* url : {"file://host/x", "file:x", "file:", "file://", "/x", "http:///x"}) {
    EXPECT_TRUE(path_from_file_url(url).empty()) << url;
  }
}

// In a process of its own: the environment and the user change.
[[noreturn]] void check_appdata_folders() {
  const auto expect = [](const char* name, const char* value, const fs::path& folder) {
    if (value == nullptr) {
      unsetenv(name);
    } else {
      setenv(name, value, 1);
    }
    if (common_appdata_folder() == folder) return;
    fprintf(stderr, "%s=%s: %s\n", name, value == nullptr ? "" : value,
            common_appdata_folder().c_str());
    _exit(1);
  };
  unsetenv("XDG_DATA_HOME");
  setenv("HOME", "/home/of/env", 1);
  if (geteuid() == 0) {
    expect("ZENDRO_COMMON_APPDATA", "", "/var/lib");
    if (seteuid(2) != 0) _exit(2);
  }
  expect("ZENDRO_COMMON_APPDATA", nullptr, "/home/of/env/.local/share");
  expect("XDG_DATA_HOME", "relative", "/home/of/env/.local/share");
  expect("XDG_DATA_HOME", "/data", "/data");
  expect("ZENDRO_COMMON_APPDATA", "/own place", "/own place");
  unsetenv("ZENDRO_COMMON_APPDATA");
  unsetenv("XDG_DATA_HOME");
  unsetenv("HOME");
  const passwd* user = getpwuid(geteuid());
  const fs::path home = user == nullptr ? fs::path() : fs::path(user->pw_dir) / ".local/share";
  if (common_appdata_folder() != home) _exit(3);
  _exit(0);
}

TEST(FilesTest, PlacesOfTheSystem) {
  EXPECT_TRUE(fs::equivalent(executable_path(), "/proc/self/exe"));
  EXPECT_EXIT(check_appdata_folders(), testing::ExitedWithCode(0), "");
}

TEST(LockFileTest, AKilledProcessLetsGo) {
  const TempFolder folder;
  const fs::path path = folder / "lock";
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    const auto lock = lock_at(path);
    const char byte = lock ? 'y' : 'n';
    if (write(ready[1], &byte, 1) == 1) pause();
    _exit(0);
  }
  char byte = 0;
  ASSERT_EQ(read(ready[0], &byte, 1), 1);
  ASSERT_EQ(byte, 'y');
  const int file = open(path.c_str(), O_RDONLY);
  EXPECT_NE(flock(file, LOCK_EX | LOCK_NB), 0);
  close(file);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  EXPECT_EQ(cause_of(lock_at(path)), "");
  close(ready[0]);
  close(ready[1]);
}

// In a process of its own, as another user.
[[noreturn]] void lock_without_the_right_to_write(const fs::path& path) {
  if (geteuid() == 0 && seteuid(2) != 0) _exit(2);
  _exit(lock_at(path) ? 0 : 1);
}

TEST(LockFileTest, LocksFilesThatItMayOnlyRead) {
  const TempFolder folder;
  const fs::path path = folder / "lock";
  ASSERT_EQ(cause_of(write_file(path, "")), "");
  fs::permissions(path, fs::perms(0444));
  fs::permissions(folder.path(), fs::perms(0755));
  EXPECT_EXIT(lock_without_the_right_to_write(path), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace zendro::framework
