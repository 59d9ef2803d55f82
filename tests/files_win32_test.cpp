// Files of Windows: long paths, files that others hold, read-only files, devices, drives.
#include <windows.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/system/files.h"
#include "framework/system/folder.h"
#include "framework/system/handle_win32.h"
#include "framework/system/path_win32.h"
#include "tests/cause.h"
#include "tests/environment.h"
#include "tests/lock_at.h"
#include "tests/read_only_win32.h"
#include "tests/temp_folder.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::StartsWith;
using tests::cause_of;
using tests::lock_at;
using tests::TempFolder;
using tests::was_not_opened;

constexpr const char* kLockVariable = "ZENDRO_TEST_LOCK";

TEST(FilesWin32Test, PathsMayBeLongAndOfAnyScript) {
  const TempFolder folder;
  fs::path path = folder.path();
  while (path.native().size() < 600) {
    path /= path_from_utf8(
        "\u30D1\u30C3\u30B1\u30FC\u30B8 \u0434\u043B\u0438\u043D\u043D\u043E "
        "\U0001F4E6 0123456789");
  }
  ASSERT_EQ(cause_of(create_folders(path)), "");
  ASSERT_EQ(cause_of(write_file(path / "file", "text")), "");
  EXPECT_EQ(read_file(path / "file", 10), "text");
  EXPECT_TRUE(file_exists(path / "file"));
  EXPECT_TRUE(is_missing(path / "none"));
  EXPECT_EQ(resolved_path(path / "file"), resolved_path(path) / "file");
  EXPECT_EQ(cause_of(lock_at(path / "lock")), "");
  auto opened = Folder::open(path);
  ASSERT_TRUE(opened) << cause_of(opened);
  std::unique_ptr<Folder> deep = std::move(*opened);
  EXPECT_EQ(deep->kind_of("FILE"), EntryKind::file);
  EXPECT_NE(deep->stamp_of("file"), 0U);
  EXPECT_EQ(cause_of(deep->remove_file("lock")), "");
  EXPECT_EQ(cause_of(deep->remove_file("file")), "");
  deep.reset();
  // The standard library's removal does not reach as deep.
  while (path != folder.path()) {
    ASSERT_NE(RemoveDirectoryW(api_path(path).c_str()), 0) << path;
    path = path.parent_path();
  }
}

TEST(FilesWin32Test, WhatAnotherProgramHoldsIsNamedAndStaysAsItIs) {
  const TempFolder folder;
  const fs::path path = folder / "list.json";
  ASSERT_EQ(cause_of(write_file(path, "old")), "");
  {
    const Handle held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    const WriteResult written = write_file(path, "new");
    EXPECT_TRUE(was_not_opened(written));
    EXPECT_THAT(cause_of(written), StartsWith(path.string() + ": "));
    EXPECT_EQ(cause_of(written).find_first_of("\r\n"), std::string::npos);
    EXPECT_FALSE(create_file(path));
    EXPECT_EQ(read_file(path, 10), "old");
  }
  // What the program itself has open stands in nobody's way.
  const auto open = open_file(path);
  EXPECT_EQ(cause_of(write_file(path, "new")), "");
}

TEST(FilesWin32Test, SaysThatAFileIsAFolder) {
  const TempFolder folder;
  EXPECT_EQ(cause_of(open_file(folder.path())), folder.path().string() + ": is a folder");
}

TEST(FilesWin32Test, SaysThatAFileIsReadOnly) {
  const TempFolder folder;
  const fs::path path = folder / "file";
  ASSERT_EQ(cause_of(write_file(path, "old")), "");
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  if (tests::writes_read_only_files(path)) GTEST_SKIP() << "Wine lets root write such files";
  const WriteResult written = write_file(path, "new");
  EXPECT_TRUE(was_not_opened(written));
  EXPECT_EQ(cause_of(written), path.string() + ": is marked as read-only");
  EXPECT_EQ(cause_of(lock_at(path)), "");
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST(FilesWin32Test, DevicesAndPipesAreNoFiles) {
  const TempFolder folder;
  for (const fs::path& path : {fs::path("NUL"), fs::path(R"(\\.\pipe\zendro-none)")}) {
    EXPECT_FALSE(open_file(path)) << path;
    const WriteResult written = write_file(path, "text");
    EXPECT_TRUE(was_not_opened(written)) << path;
    EXPECT_THAT(cause_of(written), StartsWith(path.string() + ": "));
    EXPECT_FALSE(file_exists(path)) << path;
  }
}

TEST(FilesWin32Test, FileUrlsNamePathsOfDrives) {
  EXPECT_EQ(path_from_file_url("file:///C:/a%20b/%E2%82%AC%2fc%zz"),
            path_from_utf8("C:/a b/\u20AC/c%zz"));
  EXPECT_EQ(path_from_file_url("FILE://LocalHost/d:/x"), "d:/x");
  for (const char* url :
       {"file://host/C:/x", "file:///x", "file:///C:x", "file:C:/x", "file:///",
        "file:////host/share/x", "file:///%5C%5Chost%5Cshare%5Cx", "file:///%5C%5C.%5CC:%5Cx"}) {
    EXPECT_TRUE(path_from_file_url(url).empty()) << url;
  }
}

TEST(FilesWin32Test, NamesThatDifferInCaseAreOne) {
  EXPECT_EQ(comparable_name("A-\u00E9\u0436.zip"), comparable_name("a-\u00C9\u0416.ZIP"));
  EXPECT_NE(comparable_name("a"), comparable_name("b"));
  const TempFolder folder;
  fs::create_directory(folder / "Real");
  EXPECT_EQ(resolved_path(folder / "rEAL"), resolved_path(folder / "Real"));
}

TEST(FilesWin32Test, PlacesOfTheSystem) {
  EXPECT_EQ(executable_path().extension(), ".exe");
  EXPECT_TRUE(file_exists(executable_path()));
  tests::set_variable("ZENDRO_COMMON_APPDATA", "D:\\own place");
  EXPECT_EQ(common_appdata_folder(), "D:\\own place");
  tests::unset_variable("ZENDRO_COMMON_APPDATA");
  EXPECT_TRUE(common_appdata_folder().is_absolute());
  EXPECT_EQ(common_appdata_folder().filename(), "ProgramData");
}

// The process that the test starts: runs the same test, holds the lock and waits for its end.
void hold_until_killed(const fs::path& path) {
  const auto lock = lock_at(path);
  ASSERT_TRUE(lock) << cause_of(lock);
  ASSERT_EQ(cause_of(write_file(fs::path(path) += ".held", "")), "");
  Sleep(30000);
}

TEST(LockFileWin32Test, AKilledProcessLetsGo) {
  if (const char* const given = std::getenv(kLockVariable)) {
    return hold_until_killed(path_from_utf8(given));
  }
  const TempFolder folder;
  const fs::path path = folder / "lock";
  tests::set_variable(kLockVariable, path_to_utf8(path).c_str());
  std::wstring command = L"\"" + executable_path().wstring() +
                         L"\" --gtest_filter=LockFileWin32Test.AKilledProcessLetsGo";
  STARTUPINFOW start{};
  start.cb = sizeof start;
  PROCESS_INFORMATION child{};
  ASSERT_NE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                           nullptr, nullptr, &start, &child),
            0);
  const Handle process(child.hProcess);
  const Handle thread(child.hThread);
  for (int i = 0; i < 2000 && !file_exists(fs::path(path) += ".held"); ++i) Sleep(10);
  ASSERT_TRUE(file_exists(fs::path(path) += ".held"));
  {
    const Handle other(
        CreateFileW(path.c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING, 0, nullptr));
    OVERLAPPED byte{};
    byte.Offset = 1U << 30;
    EXPECT_EQ(LockFileEx(other.get(), LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0,
                         &byte),
              0);
  }
  TerminateProcess(process.get(), 0);
  WaitForSingleObject(process.get(), 10000);
  EXPECT_EQ(cause_of(lock_at(path)), "");
  tests::unset_variable(kLockVariable);
}

}  // namespace
}  // namespace zendro::framework
