// Folders of Windows: names that it treats specially, files that others hold.
#include <windows.h>

#include "framework/system/handle_win32.h"
#include "tests/folder_fixture.h"
#include "tests/read_only_win32.h"

namespace zendro::framework {
namespace {

namespace fs = std::filesystem;
using testing::StartsWith;
using tests::FolderTest;

TEST_F(FolderTest, MakesNoNameThatWindowsReadsOtherwise) {
  put("inside/file", "keep");
  for (const char* name : {"NUL", "con.zip", "COM1", "file.", "file ", "file:stream", "file::$DATA",
                           "a*", "a?b", "a\\b", "C:", "a\xFF"}) {
    EXPECT_FALSE(create(name, "x")) << name;
    EXPECT_THAT(error_.text, StartsWith((temp_ / "inside").string() + ": '")) << name;
    EXPECT_FALSE(folder_->create_folder(name, error_)) << name;
    EXPECT_FALSE(folder_->open_file(name, error_)) << name;
    EXPECT_NE(folder_->kind_of(name), EntryKind::file) << name;
  }
  EXPECT_EQ(get("inside/file"), "keep");
  std::vector<Folder::Entry> entries;
  ASSERT_TRUE(folder_->list(entries, error_));
  EXPECT_EQ(entries.size(), 1U);
}

TEST_F(FolderTest, ANameIsTheSameInEveryCase) {
  EXPECT_TRUE(create("Member.zip", "first"));
  EXPECT_EQ(folder_->kind_of("MEMBER.ZIP"), EntryKind::file);
  EXPECT_TRUE(create("member.ZIP", "second"));
  std::vector<Folder::Entry> entries;
  ASSERT_TRUE(folder_->list(entries, error_));
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].name, "Member.zip");
  EXPECT_EQ(get("inside/Member.zip"), "second");
}

TEST_F(FolderTest, WhatIsHeldStaysAndIsNamed) {
  put("inside/file", "keep");
  const fs::path path = temp_ / "inside/file";
  const std::string label = (temp_ / "inside" / fs::path("file")).string();
  {
    const Handle held(
        CreateFileW(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    EXPECT_EQ(folder_->kind_of("file"), EntryKind::file);
    EXPECT_FALSE(create("file", "new"));
    EXPECT_THAT(error_.text, StartsWith(label + ": "));
    EXPECT_FALSE(folder_->open_file("file", error_));
    EXPECT_FALSE(folder_->remove_file("file", error_));
    EXPECT_THAT(error_.text, StartsWith(label + ": "));
  }
  EXPECT_EQ(get("inside/file"), "keep");
  EXPECT_TRUE(folder_->remove_file("file", error_)) << error_.text;
}

TEST_F(FolderTest, WhatIsReadOnlyStaysAndIsNamed) {
  put("inside/file", "keep");
  const fs::path path = temp_ / "inside/file";
  const std::string label = (temp_ / "inside" / fs::path("file")).string();
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY);
  if (tests::writes_read_only_files(path)) GTEST_SKIP() << "Wine lets root write such files";
  EXPECT_FALSE(create("file", "new"));
  EXPECT_EQ(error_.text, label + ": is marked as read-only");
  EXPECT_FALSE(folder_->remove_file("file", error_));
  EXPECT_EQ(error_.text, label + ": is marked as read-only");
  SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
  EXPECT_EQ(get("inside/file"), "keep");
  EXPECT_TRUE(folder_->remove_file("file", error_)) << error_.text;
}

}  // namespace
}  // namespace zendro::framework
