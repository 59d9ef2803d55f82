// Folders with the links and pipes of POSIX systems.
#include <atomic>
#include <chrono>
#include <thread>

#include <sys/stat.h>

#include "tests/folder_fixture.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using tests::cause_of;
using tests::FolderTest;

TEST_F(FolderTest, NeverFollowsALinkToAFile) {
  fs::create_symlink(temp_ / "outside/file", temp_ / "inside/file_link");
  fs::create_symlink(temp_ / "outside/new", temp_ / "inside/dangling");
  for (const char* name : {"file_link", "dangling"}) {
    EXPECT_EQ(folder_->kind_of(name), EntryKind::other) << name;
    EXPECT_FALSE(folder_->open_file(name)) << name;
    EXPECT_FALSE(folder_->open_folder(name)) << name;
    EXPECT_FALSE(folder_->create_folder(name)) << name;
    EXPECT_EQ(cause_of(folder_->remove_file(name)), "");
    EXPECT_EQ(folder_->kind_of(name), EntryKind::absent) << name;
  }
  EXPECT_EQ(get("outside/file"), "precious");
  EXPECT_FALSE(fs::exists(temp_ / "outside/new"));
}

TEST_F(FolderTest, NeverWaitsForAPipe) {
  ASSERT_EQ(mkfifo((temp_ / "inside/pipe").c_str(), 0666), 0);
  fs::create_directory_symlink(temp_ / "outside", temp_ / "inside/link");
  EXPECT_FALSE(folder_->open_file("pipe"));
  const auto entries = folder_->list();
  ASSERT_TRUE(entries) << cause_of(entries);
  ASSERT_EQ(entries->size(), 2U);
  for (const auto& entry : *entries) EXPECT_EQ(entry.kind, EntryKind::other) << entry.name;
}

// A file that is known under two names loses one of them between the opening and the check.
TEST_F(FolderTest, WritesNothingElseWhileNamesChange) {
  fs::permissions(temp_ / "inside", fs::perms::all);
  std::atomic<bool> done = false;
  std::thread other([&] {
    std::error_code ignored;
    while (!done) {
      fs::create_hard_link(temp_ / "outside/file", temp_ / "inside/name", ignored);
      fs::remove(temp_ / "inside/name", ignored);
      fs::create_symlink(temp_ / "outside/file", temp_ / "inside/name", ignored);
      fs::remove(temp_ / "inside/name", ignored);
    }
  });
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
  while (std::chrono::steady_clock::now() < end) create("name", "x");
  done = true;
  other.join();
  EXPECT_EQ(get("outside/file"), "precious");
}

// What Windows refuses is a name like any other.
TEST_F(FolderTest, TakesEveryNameOfTheSystem) {
  for (const char* name : {"a:*?.zip", "con", "a."}) {
    EXPECT_EQ(create(name, "text"), "");
    EXPECT_EQ(get(std::string("inside/") + name), "text");
    EXPECT_EQ(cause_of(folder_->remove_file(name)), "");
  }
}

}  // namespace
}  // namespace zendro::framework
